#pragma once

namespace qvs::k2r {

/// Which small files on disk lack what the stream has in memory. A write that fails does not end the recording: the
/// file stays in this list, and the next fragment writes it again. Each operation says what has happened. The order in
/// which they are written is K2RData::flushSmallFiles().
class FilesToWrite {
 public:
  /// No control file, or none that can be used: the first message gives the base time.
  void baseTimeNotFound() { control_ = Control::kNoBaseTime; }
  void baseTimeRead() { control_ = Control::kOnDisk; }
  void controlWritten(bool succeeded) { control_ = succeeded ? Control::kOnDisk : Control::kNotWritten; }
  /// Whether the next message that is accepted gives the recording its base time.
  bool needBaseTime() const { return control_ == Control::kNoBaseTime; }
  bool needControl() const { return control_ == Control::kNotWritten; }

  /// From the first segment on there are tracks to describe.
  void tracksComplete() { needMeta_ = true; }
  /// A file that could not be written is tried again after the next fragment.
  void metaWritten(bool succeeded) { needMeta_ = !succeeded; }
  bool needMeta() const { return needMeta_; }

  void indexChanged() { needIndex_ = true; }
  void indexWritten(bool succeeded) { needIndex_ = !succeeded; }
  /// While this is true, the bootstrap must not be written: it would name fragments that no index on disk has.
  bool needIndex() const { return needIndex_; }

 private:
  enum class Control { kOnDisk, kNoBaseTime, kNotWritten };

  Control control_ = Control::kOnDisk;
  bool needMeta_ = false;
  bool needIndex_ = false;
};

}  // namespace qvs::k2r
