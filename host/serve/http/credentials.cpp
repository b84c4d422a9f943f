#include "host/serve/http/credentials.h"

#include <openssl/evp.h>

#include <algorithm>

#include "host/asciiText.h"
#include "util/asciiCase.h"

namespace host::serve {
namespace {

/// What follows the scheme in the Authorization header.
std::optional<std::string_view> authorization(const HttpRequest& request, std::string_view scheme) {
  const std::string* header = request.header("authorization");
  if (header == nullptr) return std::nullopt;
  const std::string_view text = *header;
  if (!qvs::util::equalInAnyCase(text.substr(0, scheme.size()), scheme)) return std::nullopt;
  if (!text.substr(scheme.size()).starts_with(' ')) return std::nullopt;
  return trimmed(text.substr(scheme.size()), " ");
}

/// Headers are short, so their lengths fit an int.
std::optional<std::string> base64Decoded(std::string_view text) {
  std::string bytes(text.size(), '\0');
  const int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                   reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  const auto padding = static_cast<int>(text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0);
  if (size < padding) return std::nullopt;
  // The library decodes the padding as zeros.
  bytes.resize(static_cast<std::size_t>(size - padding));
  return bytes;
}

}  // namespace

std::optional<std::string> bearerToken(const HttpRequest& request) {
  const auto token = authorization(request, "Bearer");
  return token ? std::optional<std::string>(*token) : std::nullopt;
}

std::optional<std::string> basicPassword(const HttpRequest& request) {
  const auto encoded = authorization(request, "Basic");
  if (!encoded) return std::nullopt;
  const auto pair = base64Decoded(*encoded);
  if (!pair) return std::nullopt;
  const std::size_t colon = pair->find(':');
  return colon == std::string::npos ? std::nullopt : std::optional(pair->substr(colon + 1));
}

std::optional<std::string> cookie(const HttpRequest& request, std::string_view name) {
  const std::string* header = request.header("cookie");
  std::string_view rest = header != nullptr ? std::string_view(*header) : std::string_view();
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(';'), rest.size());
    const std::string_view pair = trimmed(rest.substr(0, end), " ");
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (pair.starts_with(name) && pair.substr(name.size()).starts_with('=')) {
      return std::string(pair.substr(name.size() + 1));
    }
  }
  return std::nullopt;
}

}  // namespace host::serve
