#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

/// In rising order, so that they can be compared.
enum class Severity {
  /// Information for the user; nothing is wrong.
  kNote,
  /// Left by an interrupted recorder. It affects nothing that an index names, and the next append or a repair removes
  /// it.
  kRepairable,
  /// Something that was recorded cannot be read, or two files contradict each other.
  kDamage,
};

/// docs/json.md has its form in the document.
struct Finding {
  Severity severity = Severity::kNote;
  /// Name in the directory.
  std::string file;
  /// In bytes; nothing if the finding concerns the whole file.
  std::optional<std::uint64_t> offset;
  /// One sentence without a line end, without the file's name.
  std::string text;
};

/// The findings of a check, in the order in which they were added. Counts all of them, and keeps the first `kMaxKept`
/// of each severity: a large file of zeros could otherwise fill the memory with findings.
class Findings {
 public:
  static constexpr std::size_t kMaxKept = 1000;

  /// Never throws for their number: beyond `kMaxKept` only the count rises.
  void add(Finding finding);
  const std::vector<Finding>& kept() const { return kept_; }
  /// Of all findings, also of those that were not kept.
  std::uint64_t count(Severity severity) const { return counts_[static_cast<std::size_t>(severity)]; }
  /// The gravest severity found; `kNote` if there are no findings.
  Severity worst() const;

 private:
  std::vector<Finding> kept_;
  std::array<std::uint64_t, 3> counts_{};
};

/// Adds findings about one file to `findings`, which outlives it. Copying it is cheap; a copy keeps the limit.
class FileFindings {
 public:
  FileFindings(Findings& findings, std::string file) : findings_(&findings), file_(std::move(file)) {}

  const std::string& file() const { return file_; }
  /// The same findings, for another file.
  FileFindings in(std::string file) const { return {*findings_, std::move(file)}; }
  /// Lowers every later finding of this object to `worst`, if it is graver. For a file that a running recorder may be
  /// writing: what looks damaged may only be unfinished.
  void limit(Severity worst) { worst_ = worst; }
  /// The gravest that is added is `worst` of limit(). `text` as in Finding; `offset` in bytes.
  void add(Severity severity, std::optional<std::uint64_t> offset, std::string text) const {
    findings_->add({std::min(severity, worst_), file_, offset, std::move(text)});
  }
  /// Something at a byte of the file, or of the whole file, that contradicts its format or another file.
  void damage(std::uint64_t offset, std::string text) const { add(Severity::kDamage, offset, std::move(text)); }
  void damage(std::string text) const { add(Severity::kDamage, std::nullopt, std::move(text)); }
  /// What a user may want to know, and no command changes.
  void note(std::uint64_t offset, std::string text) const { add(Severity::kNote, offset, std::move(text)); }
  void note(std::string text) const { add(Severity::kNote, std::nullopt, std::move(text)); }
  /// Reports damage if the two differ. Returns whether they are equal.
  bool expect(std::uint64_t offset, std::string_view what, std::uint64_t expected, std::uint64_t found) const;

 private:
  Findings* findings_;
  std::string file_;
  Severity worst_ = Severity::kDamage;
};

}  // namespace host
