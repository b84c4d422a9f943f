#include "host/serve/config/RecordingKeys.h"

#include <fmt/format.h>

#include <optional>

#include "host/Settings.h"
#include "host/errors.h"
#include "host/settingsTable.h"

namespace host::serve {
namespace {

bool isUpper(char c) {
  return c >= 'A' && c <= 'Z';
}

std::string_view lastPart(std::string_view key) {
  return key.substr(key.rfind('/') + 1);
}

/// An error of the settings, with their names as they are spelled here.
std::string reworded(std::string text) {
  // Whole keys are replaced first: the later names are the last parts of the earlier ones.
  for (const bool isWhole : {true, false}) {
    for (const SettingInfo& setting : knownSettings()) {
      const std::string_view name = isWhole ? setting.key : lastPart(setting.key);
      for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at)) {
        text.replace(at, name.size(), settingWord(setting.key));
      }
    }
  }
  return text;
}

/// The value in the form of the module; nothing, with a finding, if it is malformed.
std::optional<std::string> valueOf(TableReader& table, const SettingInfo& setting) {
  const std::string word = settingWord(setting.key);
  switch (setting.kind) {
    case SettingKind::kMilliseconds: {
      const auto duration = table.duration(word);
      if (!duration) return std::nullopt;
      const auto count = duration->count();
      if (count >= setting.least && count <= setting.most) return std::to_string(count);
      table.fault(word, fmt::format("expected a length of time from {}ms to {}ms", setting.least, setting.most));
      return std::nullopt;
    }
    case SettingKind::kText:
    case SettingKind::kFile:
    case SettingKind::kSecret:
      return table.textOrEmpty(word);
    case SettingKind::kNumber:
    case SettingKind::kDecimal:
    case SettingKind::kBoolean:
      return table.scalar(word);
  }
  return std::nullopt;
}

}  // namespace

std::string settingWord(std::string_view key) {
  const std::string_view name = lastPart(key);
  std::string word;
  for (std::size_t i = 0; i < name.size(); ++i) {
    // A new word begins with a capital after a small letter, and with the last capital of a row if a small one follows.
    const bool isBegin =
        i > 0 && isUpper(name[i]) && (!isUpper(name[i - 1]) || (i + 1 < name.size() && !isUpper(name[i + 1])));
    if (isBegin) word += '_';
    word += isUpper(name[i]) ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
  }
  return word;
}

void RecordingKeys::read(TableReader table, ConfigFindings& findings) {
  for (const SettingInfo& setting : knownSettings()) readSetting(table, setting.key, findings);
  readLimits(table);
  table.finish();
}

void RecordingKeys::readLimits(TableReader& table) {
  stallTimeout_ = table.duration("stall_timeout").value_or(stallTimeout_);
  if (const auto gap = table.duration("max_gap")) {
    if (gap->count() == 0) table.fault("max_gap", "expected a length of time above 0");
    maxGap_ = *gap;
  }
  if (const auto size = table.byteCount("max_queue")) {
    if (*size == 0) table.fault("max_queue", "expected a size above 0");
    maxQueue_ = *size;
  }
}

void RecordingKeys::readSetting(TableReader& table, std::string_view key, ConfigFindings& findings) {
  const SettingInfo& setting = *findSetting(key);
  const std::string word = settingWord(key);
  if (table.node(word) == nullptr) return;
  const ConfigPlace place = table.placeOf(word);
  const std::string path = table.pathOf(word);
  const auto value = valueOf(table, setting);
  if (!value) {
    isFaulty_ = true;
    return;
  }
  try {
    checkValue(setting, *value);
    settings_[std::string(key)] = {.value = *value, .place = place, .path = path};
  } catch (const UsageError& error) {
    isFaulty_ = true;
    // The finding already has the key.
    const std::string begin = std::string(key) + " = ";
    const std::string text = error.what();
    findings.add({.place = place, .key = path, .text = text.starts_with(begin) ? text.substr(begin.size()) : text});
  }
}

void RecordingKeys::apply(StreamConfig& stream, const TableReader& section, ConfigFindings& findings) const {
  stream.stallTimeout = stallTimeout_;
  stream.maxGap = maxGap_;
  stream.maxQueue = maxQueue_;
  Settings settings;
  for (const auto& [key, setting] : settings_) {
    stream.settings.push_back(key + "=" + setting.value);
    settings.assign(stream.settings.back());
  }
  if (isFaulty_) return;
  try {
    settings.requireComplete();
  } catch (const UsageError& error) {
    findings.add(findingOf(error.what(), section));
  }
}

ConfigFinding RecordingKeys::findingOf(const std::string& text, const TableReader& section) const {
  // The text names the keys that it is about, and the first of them that was given is the one to change. Where a stream
  // has a table over [recording], the table has to say which stream it is.
  const Setting* about = nullptr;
  std::size_t first = std::string::npos;
  for (const auto& [key, setting] : settings_) {
    const std::size_t at = text.find(key);
    if (at >= first) continue;
    first = at;
    about = &setting;
  }
  const std::string own = section.pathOf("recording");
  if (about == nullptr || (section.has("recording") && !about->path.starts_with(own))) {
    return {.place = section.placeOf("recording"), .key = own, .text = reworded(text)};
  }
  return {.place = about->place, .key = about->path, .text = reworded(text)};
}

}  // namespace host::serve
