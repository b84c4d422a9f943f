#include "host/version.h"

#include <fmt/format.h>
#include <openssl/crypto.h>

#include <boost/version.hpp>
#include <nlohmann/json.hpp>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}

namespace host {
namespace {

std::string avVersion(const char* name, unsigned version) {
  return fmt::format("{} {}.{}.{}\n", name, AV_VERSION_MAJOR(version), AV_VERSION_MINOR(version),
                     AV_VERSION_MICRO(version));
}

}  // namespace

std::string versionText() {
  // Of the libraries that are loaded where they say it, since a distribution may replace them; the others are headers.
  return fmt::format("k2r {}\n", K2R_VERSION) + avVersion("libavformat", avformat_version()) +
         avVersion("libavcodec", avcodec_version()) + avVersion("libavutil", avutil_version()) +
         fmt::format("{}\n", OpenSSL_version(OPENSSL_VERSION)) +  // The text begins with the name.
         fmt::format("fmt {}.{}.{}\n", FMT_VERSION / 10000, FMT_VERSION / 100 % 100, FMT_VERSION % 100) +
         fmt::format("nlohmann-json {}.{}.{}\n", NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR,
                     NLOHMANN_JSON_VERSION_PATCH) +
         fmt::format("Boost {}.{}.{}\n", BOOST_VERSION / 100000, BOOST_VERSION / 100 % 1000, BOOST_VERSION % 100);
}

}  // namespace host
