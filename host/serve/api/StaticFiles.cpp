#include "host/serve/api/StaticFiles.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "host/serve/http/secrets.h"

namespace host::serve {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::pair<std::string_view, const char*>, 9> kTypes = {{{".html", "text/html; charset=utf-8"},
                                                                             {".css", "text/css; charset=utf-8"},
                                                                             {".js", "text/javascript; charset=utf-8"},
                                                                             {".mjs", "text/javascript; charset=utf-8"},
                                                                             {".json", "application/json"},
                                                                             {".svg", "image/svg+xml"},
                                                                             {".png", "image/png"},
                                                                             {".ico", "image/x-icon"},
                                                                             {".woff2", "font/woff2"}}};

/// The page has its scripts and styles in files of its own, and plays what its player puts together (blob:).
constexpr const char* kPolicy =
    "default-src 'self'; media-src 'self' blob:; worker-src 'self' blob:; object-src 'none'; base-uri 'none'; "
    "form-action 'self'; frame-ancestors 'self'";

/// Whether an address can be the name as it is: the page has no others.
bool isPlainName(std::string_view name) {
  return std::ranges::all_of(name, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
           c == '-' || c == '/';
  });
}

std::string contentType(const fs::path& path) {
  for (const auto& [extension, type] : kTypes) {
    if (path.extension() == extension) return type;
  }
  return "text/plain; charset=utf-8";
}

HttpResponse fileResponse(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  in.exceptions(std::ios::badbit | std::ios::failbit);
  std::string content(std::istreambuf_iterator<char>(in), {});
  HttpResponse response{.type = contentType(path)};
  // The address of a file is the same in the next version, so a browser has to ask each time.
  response.cache = "no-cache";
  response.etag = '"' + sha256Hex(content).substr(0, 32) + '"';
  if (response.type.starts_with("text/html")) response.headers.emplace_back("Content-Security-Policy", kPolicy);
  response.body = Body(std::move(content));
  return response;
}

}  // namespace

std::string webFolder() {
  if (const char* chosen = std::getenv("K2R_WEB")) return chosen;
  std::error_code ignored;
  const auto program = fs::read_symlink("/proc/self/exe", ignored);
  return (program.parent_path().parent_path() / "share/k2r/web").string();
}

StaticFiles::StaticFiles(const std::string& folder) {
  if (!fs::is_directory(folder)) return;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).generic_string();
    if (entry.is_regular_file() && isPlainName(name)) files_.emplace("/" + name, fileResponse(entry.path()));
  }
  if (const auto index = files_.find("/index.html"); index != files_.end()) files_.emplace("/", index->second);
}

void StaticFiles::addRoutes(Router& router) const {
  for (const auto& [address, file] : files_) {
    // A copy shares the content.
    router.add("GET", address, [response = file](const HttpRequest&) { return response; });
  }
}

}  // namespace host::serve
