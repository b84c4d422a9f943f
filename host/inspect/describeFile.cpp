#include "host/inspect/describeFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "host/errors.h"
#include "host/files/FileView.h"
#include "host/files/Malformed.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/inFile.h"
#include "host/files/protection.h"
#include "host/files/smallFiles.h"
#include "host/input/TagStream.h"
#include "host/inspect/describeProtection.h"
#include "host/inspect/describeSegment.h"
#include "host/inspect/describeSmallFiles.h"
#include "host/inspect/describeTagStream.h"
#include "host/inspect/overviewText.h"
#include "host/inspect/scriptJson.h"
#include "platform/container/reading/SegmentError.h"

namespace host {

using qvs::util::FourCC;
using qvs::util::operator""_4cc;

namespace {

/// Of the first box; 0 if the file is too short for one.
FourCC firstType(FileView& file) {
  constexpr std::size_t kBoxHeader = 8;
  if (file.size() < kBoxHeader) return 0;
  qvs::util::ByteReader header(file.view(0, kBoxHeader));
  header.skip(4);
  return header.u32();
}

/// Adds the number of bytes after the one box of a small file: its readers stop at the end of the box.
void noteRest(const std::vector<std::byte>& bytes, std::size_t boxSize, Json& document) {
  document["bytesBehind"] = bytes.size() - std::min(bytes.size(), boxSize);
}

/// By the content first, because users rename files. A control file is four bytes without a mark, so only name and size
/// can show it, and it comes after all forms that have one.
void describeContent(const std::string& path, Json& document) {
  FileView file(path);
  // Replaced below; it stays if the file cannot be recognised.
  document["kind"] = "unknown";
  document["size"] = file.size();
  const FourCC type = firstType(file);
  if (type == "abst"_4cc) {
    document["kind"] = "bootstrap";
    const auto bytes = readSmallFile(path);
    const auto info = parseBootstrap(bytes);
    document.update(describeBootstrap(info));
    noteRest(bytes, imageOf(info).size(), document);
  } else if (type == "afra"_4cc) {
    document["kind"] = "index";
    const auto bytes = readSmallFile(path);
    const auto index = parseAfra(bytes);
    document.update(describeIndex(index));
    noteRest(bytes, imageOf(index).size(), document);
  } else if (type == "ftyp"_4cc) {
    document["kind"] = "segment";
    describeSegment(file, document);
  } else if (isTagStream(path)) {
    document["kind"] = "tagStream";
    describeTagStream(path, document);
  } else if (path.ends_with(fileset::kControlSuffix) || file.size() == kControlFileSize) {
    document["kind"] = "control";
    document["baseTime"] = parseControl(readSmallFile(path));
  } else if (path.ends_with(fileset::kMetaSuffix)) {
    document["kind"] = "description";
    document.update(describeScript(readSmallFile(path)));
  } else if (path.ends_with(fileset::kDrmMetaSuffix)) {
    document["kind"] = "protection";
    const auto bytes = readSmallFile(path);
    document.update(describeScript(bytes));
    document["protection"] = describeMetadata(readDrmMeta(bytes));
  } else {
    throw Malformed(0,
                    "no file of a recording: abst, afra, ftyp, a tag stream, or four bytes of control file expected");
  }
}

/// `offset` is null if the fault has no place in the file. A fault that two readers meet is listed once.
void noteError(const Json& offset, const std::string& fault, const std::string& line, Json& document,
               InspectErrors& errors) {
  document["error"] = {{"offset", offset}, {"text", fault}};
  if (std::ranges::find(errors, line) == errors.end()) errors.push_back(line);
}

Json describeFile(const std::string& path, InspectErrors& errors) {
  Json document = {{"path", path}};
  try {
    describeContent(path, document);
  } catch (const Malformed& error) {
    noteError(error.offset(), error.what(), faultText(path, error.offset(), error.what()), document, errors);
  } catch (const krvo::container::SegmentError& error) {
    noteError(error.offset(), error.fault(), faultText(path, error.offset(), error.fault()), document, errors);
  } catch (const CommandError& error) {
    noteError(Json(), error.what(), error.what(), document, errors);
  }
  return document;
}

/// The fields of all files.
Json describeFiles(const RecordingDirectory& directory, InspectErrors& errors) {
  Json files = Json::array();
  const auto add = [&](bool there, const std::string& name) {
    if (there) files.push_back(describeFile(directory.pathOf(name), errors));
  };
  add(directory.hasBootstrap, directory.bootstrapName());
  add(directory.hasControl, directory.controlName());
  add(directory.hasMeta, directory.metaName());
  add(directory.hasDrmMeta, directory.drmMetaName());
  std::set<std::uint32_t> numbers = directory.segments;
  // Also numbers of which only one file exists, as a crash may leave them.
  numbers.insert(directory.indexes.begin(), directory.indexes.end());
  for (const std::uint32_t number : numbers) {
    add(directory.indexes.contains(number), directory.indexName(number));
    add(directory.segments.contains(number), directory.segmentName(number));
  }
  return files;
}

Description describeDirectory(const std::string& path, Detail detail, InspectErrors& errors) {
  const RecordingDirectory directory = readRecordingDirectory(path);
  Description description{.document = {}, .overview = readOverview(directory)};
  const RecordingOverview& overview = *description.overview;
  description.document = {{"path", path},
                          {"kind", "recording"},
                          {"stem", directory.stem},
                          {"summary", overviewJson(overview)},
                          {"temporaryFiles", directory.temporary},
                          {"foreignFiles", directory.foreign}};
  errors.insert(errors.end(), overview.faults.begin(), overview.faults.end());
  // The overview keeps the first few texts.
  if (overview.faultCount > overview.faults.size())
    errors.push_back(fmt::format("'{}': {} more faults", path, overview.faultCount - overview.faults.size()));
  if (detail == Detail::kFields) description.document["files"] = describeFiles(directory, errors);
  return description;
}

}  // namespace

Description describePath(const std::string& path, Detail detail, InspectErrors& errors) {
  std::error_code ignored;
  if (!std::filesystem::is_directory(path, ignored)) return {.document = describeFile(path, errors), .overview = {}};
  try {
    return describeDirectory(path, detail, errors);
  } catch (const CommandError& error) {
    Description description{.document = {{"path", path}}, .overview = {}};
    noteError(Json(), error.what(), error.what(), description.document, errors);
    return description;
  }
}

}  // namespace host
