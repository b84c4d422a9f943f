#include "host/serve/config/ConfigReader.h"

#include <fmt/format.h>

#include <cstddef>
#include <filesystem>
#include <string_view>

#include "host/serve/config/listenAddress.h"
#include "host/serve/config/maskedSource.h"
#include "host/serve/config/secretFiles.h"
#include "host/serve/hooks/hookWords.h"
#include "host/serve/recordingName.h"
#include "platform/os/paths.h"

namespace host::serve {
namespace {

using std::chrono::milliseconds;

/// With a shorter time, each recording would have a few frames only.
constexpr milliseconds kShortestRotation = std::chrono::seconds(1);
constexpr std::int64_t kMostHooks = 1000;

/// Whether libavformat opens it as a file: no name of a protocol and a colon are before it. "-" is the standard input.
bool isFile(std::string_view source) {
  constexpr std::string_view kInName = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.,";
  const std::size_t end = source.find_first_not_of(kInName);
  return source != "-" && (end == std::string_view::npos || source[end] != ':');
}

/// "0" means never, or without a limit.
template <typename Value>
std::optional<Value> unlessZero(Value value) {
  return value == Value{} ? std::nullopt : std::optional(value);
}

}  // namespace

ServeConfig ConfigReader::read(const toml::table& file) {
  TableReader top(file, "", findings_);
  storage_.root = config_.root;
  static const toml::table kNone;
  const auto section = [&](const char* name) {
    const toml::table* const table = top.table(name);
    return TableReader(table != nullptr ? *table : kNone, name, findings_);
  };
  readServer(section("server"));
  readStorage(section("storage"));
  recording_.read(section("recording"), findings_);
  std::size_t number = 0;
  for (const toml::table* const stream : top.tables("stream")) readStream(*stream, ++number);
  top.finish();
  requireSeparateRoots();
  if (number == 0) warnings_.emplace_back("no [[stream]] is configured, so nothing is recorded");
  return std::move(config_);
}

void ConfigReader::readServer(TableReader table) {
  readListen(table);
  if (const auto path = pathAt(table, "token_file")) {
    config_.tokenFile = *path;
    secretOf(table, "token_file", *path, readToken);
  } else if (!table.has("token_file") && !config_.listenAddress.empty() && !isLoopback(config_.listenAddress)) {
    table.fault("listen", fmt::format("{} can be reached from other machines, so that token_file is needed",
                                      config_.listenAddress));
  }
  const auto readToken = table.boolean("read_token");
  config_.readToken = readToken.value_or(true);
  if (readToken == true && !table.has("token_file")) {
    table.fault("read_token", "needs token_file");
  }
  readOrigins(table);
  table.finish();
}

void ConfigReader::readListen(TableReader& table) try {
  const auto listen = table.textOrEmpty("listen");
  if (!listen) return;
  const ListenAddress address = listen->empty() ? ListenAddress{} : parseListenAddress(*listen);
  config_.listenAddress = address.host;
  config_.listenPort = address.port;
} catch (const UsageError& error) {
  table.fault("listen", error.what());
}

void ConfigReader::readOrigins(TableReader& table) {
  config_.allowOrigins = table.texts("allow_origins").value_or(std::vector<std::string>{});
  for (const std::string& origin : config_.allowOrigins) {
    if (isOrigin(origin)) continue;
    table.fault("allow_origins",
                fmt::format(R"("{}" is no origin; expected http://HOST or https://HOST in lower case, )"
                            "with :PORT or without, and nothing after it",
                            origin));
  }
}

void ConfigReader::readStorage(TableReader table) {
  readStorageKeys(table, storage_);
  config_.root = storage_.root;
  config_.keep = storage_.keep;
  config_.keepFree = table.byteCount("keep_free").value_or(0);
  config_.hookParallel =
      static_cast<unsigned>(table.number("hook_parallel", 1, kMostHooks).value_or(config_.hookParallel));
  if (const auto timeout = table.duration("hook_timeout")) config_.hookTimeout = unlessZero(*timeout);
  table.finish();
}

void ConfigReader::readStorageKeys(TableReader& table, StorageKeys& keys) {
  if (const auto root = pathAt(table, "root")) keys.root = *root;
  roots_.try_emplace(keys.root, ConfigFinding{.place = table.placeOf("root"), .key = table.pathOf("root"), .text = ""});
  if (const auto rotate = table.duration("rotate")) {
    keys.rotate = unlessZero(*rotate);
    if (keys.rotate && *keys.rotate < kShortestRotation)
      table.fault("rotate", "expected 1s or more, or \"0\" for never");
  }
  if (const auto age = table.duration("keep_for")) keys.keep.age = unlessZero(*age);
  if (const auto bytes = table.byteCount("keep_bytes")) keys.keep.bytes = unlessZero(*bytes);
  if (const auto durability = table.text("durability")) {
    if (*durability != "device" && *durability != "process") {
      table.fault("durability", R"(expected "device" or "process")");
    }
    keys.durability = *durability == "process" ? Durability::kProcess : Durability::kDevice;
  }
}

std::string ConfigReader::streamPath(const toml::table& table, std::size_t number) {
  const auto name = table["name"].value<std::string>();
  return name && isStreamName(*name) ? "stream." + *name : fmt::format("stream[{}]", number);
}

void ConfigReader::readStream(const toml::table& content, std::size_t number) {
  TableReader table(content, streamPath(content, number), findings_);
  StreamConfig stream;
  readName(table, stream);
  readSource(table, stream);
  readInputOptions(table, stream);
  stream.enabled = table.boolean("enabled").value_or(true);
  readHook(table, stream);
  StorageKeys keys = storage_;
  // That of [storage] is for all streams together.
  keys.keep.bytes.reset();
  readStorageKeys(table, keys);
  stream.root = keys.root;
  stream.rotate = keys.rotate;
  stream.keep = keys.keep;
  stream.durability = keys.durability;
  RecordingKeys recording = recording_;
  if (const toml::table* const own = table.table("recording")) {
    recording.read(TableReader(*own, table.pathOf("recording"), findings_), findings_);
  }
  recording.apply(stream, table, findings_);
  for (const char* const key : {"keep_free", "hook_parallel", "hook_timeout"}) {
    if (table.node(key) != nullptr) table.fault(key, "belongs into [storage]: it is for all streams together");
  }
  table.finish();
  config_.streams.push_back(std::move(stream));
}

void ConfigReader::readName(TableReader& table, StreamConfig& stream) {
  const auto name = table.text("name");
  if (!name) {
    if (!table.has("name")) table.fault("name", "is missing");
    return;
  }
  stream.name = *name;
  if (!isStreamName(*name)) table.fault("name", "expected 1 to 64 of a to z, 0 to 9, _ and -");
  if (!names_.insert(*name).second) table.fault("name", "an earlier stream has this name");
}

void ConfigReader::readSource(TableReader& table, StreamConfig& stream) {
  const auto source = table.text("source");
  const auto path = pathAt(table, "source_file");
  const bool hasSource = table.has("source");
  const bool hasFile = table.has("source_file");
  if (hasSource == hasFile) table.fault("source", hasFile ? "source and source_file exclude each other" : "is missing");
  if (source) {
    stream.source = isFile(*source) ? absolutePath(*source) : *source;
    hasSecrets_ = hasSecrets_ || maskedSource(*source) != *source;
  }
  if (!path) return;
  const auto content = secretOf(table, "source_file", *path, readSecretLine);
  if (content) stream.source = isFile(*content) ? absolutePath(*content) : *content;
}

void ConfigReader::readInputOptions(TableReader& table, StreamConfig& stream) {
  const toml::table* const options = table.table("input_options");
  if (options == nullptr) return;
  TableReader reader(*options, table.pathOf("input_options"), findings_);
  for (const auto& [key, value] : *options) {
    const std::string name(key.str());
    const auto text = reader.scalar(name);
    if (text) {
      stream.inputOptions.push_back(name + "=" + *text);
      hasSecrets_ = hasSecrets_ || maskedOption(stream.inputOptions.back()) != stream.inputOptions.back();
    }
    if (name.empty() || name.find('=') != std::string::npos) reader.fault(name, "is no name of an option");
  }
}

void ConfigReader::readHook(TableReader& table, StreamConfig& stream) {
  stream.onRecording = table.texts("on_recording").value_or(std::vector<std::string>{});
  try {
    checkHookWords(stream.onRecording);
  } catch (const UsageError& error) {
    table.fault("on_recording", error.what());
  }
}

void ConfigReader::requireSeparateRoots() {
  for (const auto& [inner, finding] : roots_) {
    for (const auto& [outer, ignored] : roots_) {
      if (inner == outer || !inner.starts_with(outer.ends_with('/') ? outer : outer + "/")) continue;
      findings_.add(
          {.place = finding.place,
           .key = finding.key,
           .text = fmt::format("'{}' is inside '{}', where it could be taken for a stream's folder", inner, outer)});
    }
  }
}

std::optional<std::string> ConfigReader::secretOf(TableReader& table, const std::string& key, const std::string& path,
                                                  std::string (*readSecret)(const std::string&)) {
  try {
    auto secret = readSecret(path);
    if (auto warning = permissionWarning(path); !warning.empty()) warnings_.push_back(std::move(warning));
    return secret;
  } catch (const UsageError& error) {
    table.fault(key, error.what());
    return std::nullopt;
  }
}

std::optional<std::string> ConfigReader::pathAt(TableReader& table, const std::string& key) {
  const auto text = table.text(key);
  return text ? std::optional(absolutePath(*text)) : std::nullopt;
}

std::string ConfigReader::absolutePath(const std::string& path) const {
  std::string whole = (std::filesystem::path(folder_) / platform::os::toNative(path)).lexically_normal().string();
  while (whole.size() > 1 && whole.ends_with('/')) whole.pop_back();
  return whole;
}

}  // namespace host::serve
