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

enum class Severity {
  /// For the user to know; nothing is wrong.
  kNote,
  /// What an interrupted recorder leaves. Nothing that an index names is touched by it, and the next append or a repair
  /// clears it away.
  kRepairable,
  /// Something that was recorded cannot be read, or two files contradict each other.
  kDamage,
};

struct Finding {
  Severity severity = Severity::kNote;
  /// Name in the directory.
  std::string file;
  /// Nothing where the whole file is meant.
  std::optional<std::uint64_t> offset;
  std::string text;
};

/// What a check has found, in the order in which it went on. Counts all; keeps a bounded number of each severity.
class Findings {
 public:
  static constexpr std::size_t kMaxKept = 1000;

  void add(Finding finding);
  const std::vector<Finding>& kept() const { return kept_; }
  std::uint64_t count(Severity severity) const { return counts_[static_cast<std::size_t>(severity)]; }
  /// The gravest one; a note where there is nothing.
  Severity worst() const;

 private:
  std::vector<Finding> kept_;
  std::array<std::uint64_t, 3> counts_{};
};

/// Adds what is found in one file. `findings` outlives it.
class FileFindings {
 public:
  FileFindings(Findings& findings, std::string file) : findings_(&findings), file_(std::move(file)) {}

  const std::string& file() const { return file_; }
  /// The same for another file.
  FileFindings in(std::string file) const { return {*findings_, std::move(file)}; }
  /// From now on nothing is graver than that.
  void limit(Severity worst) { worst_ = worst; }
  void add(Severity severity, std::optional<std::uint64_t> offset, std::string text) const {
    findings_->add({std::min(severity, worst_), file_, offset, std::move(text)});
  }
  void damage(std::uint64_t offset, std::string text) const { add(Severity::kDamage, offset, std::move(text)); }
  void damage(std::string text) const { add(Severity::kDamage, std::nullopt, std::move(text)); }
  void note(std::uint64_t offset, std::string text) const { add(Severity::kNote, offset, std::move(text)); }
  void note(std::string text) const { add(Severity::kNote, std::nullopt, std::move(text)); }
  /// Damage, unless both are equal. Answers whether they are.
  bool expect(std::uint64_t offset, std::string_view what, std::uint64_t expected, std::uint64_t found) const;

 private:
  Findings* findings_;
  std::string file_;
  Severity worst_ = Severity::kDamage;
};

}  // namespace host
