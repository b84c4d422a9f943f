#pragma once

#include <cstdint>
#include <exception>
#include <istream>
#include <ostream>
#include <string>
#include <utility>

namespace qvs::amfmessage {

// The items of an AMF0 script tag as values, one object an item: written to a stream one behind another, or read back
// against the shape that the caller expects. No references, no tables. Everything is big-endian.

/// The input does not have the item that was expected.
class ParseException : public std::exception {
 public:
  const char* what() const noexcept override { return "AMF0: another item than the expected one"; }
};

/// The item does not fit its field.
class WriteException : public std::exception {
 public:
  const char* what() const noexcept override { return "AMF0: a name of more than 65535 bytes"; }
};

/// An item without a name.
class AMF0Base {
 public:
  /// Throws ParseException for another item, and std::ios_base::failure where `in` ends first.
  virtual void readFrom(std::istream& in) = 0;
  virtual void writeTo(std::ostream& out) const = 0;

 protected:
  ~AMF0Base() = default;
};

/// A property: a name, stored as an AMF0NoHeaderString, and an item behind it.
class AMF0PropBase {
 public:
  /// As AMF0Base::readFrom, with any name.
  virtual void readFrom(std::istream& in) = 0;
  /// Throws WriteException, before anything is written, for a name above 65535 bytes.
  virtual void writeTo(std::ostream& out) const = 0;

  /// Throws ParseException, too, for another name.
  void readExpecting(std::istream& in, const std::string& expectedName);

  std::string name;

 protected:
  AMF0PropBase() = default;
  explicit AMF0PropBase(std::string propertyName) : name(std::move(propertyName)) {}
  ~AMF0PropBase() = default;
};

/// Marker 3.
class AMF0ObjectBegin final : public AMF0Base {
 public:
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;
};

/// An empty name and marker 9. A name that is not empty is read over.
class AMF0ObjectEnd final : public AMF0Base {
 public:
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;
};

/// Marker 8 and a u32 count, which is written as 0; another count is refused.
class AMF0ArrayBegin final : public AMF0Base {
 public:
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;
};

/// The same bytes as AMF0ObjectEnd.
class AMF0ArrayEnd final : public AMF0Base {
 public:
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;
};

/// Marker 10 and a u32 count of the items that follow.
class AMF0StrictArrayBegin final : public AMF0Base {
 public:
  AMF0StrictArrayBegin() = default;
  explicit AMF0StrictArrayBegin(double itemCount) : count(itemCount) {}
  void readFrom(std::istream& in) override;
  /// What the field cannot hold is written as the nearest number that it can; not-a-number as 0.
  void writeTo(std::ostream& out) const override;

  double count = 0;
};

/// Marker 0 and an IEEE 754 double.
class AMF0Number final : public AMF0Base {
 public:
  AMF0Number() = default;
  explicit AMF0Number(double number) : value(number) {}
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;

  double value = 0;
};

/// Up to 65535 bytes marker 2, a u16 length and the bytes; above that marker 12, a u32 length and the bytes. Both are
/// read, whatever the length.
class AMF0String final : public AMF0Base {
 public:
  AMF0String() = default;
  explicit AMF0String(std::string text) : value(std::move(text)) {}
  void readFrom(std::istream& in) override;
  /// Throws std::out_of_range from 4 GiB on.
  void writeTo(std::ostream& out) const override;

  std::string value;
};

/// A u16 length and the bytes.
class AMF0NoHeaderString final : public AMF0Base {
 public:
  AMF0NoHeaderString() = default;
  explicit AMF0NoHeaderString(std::string text) : value(std::move(text)) {}
  void readFrom(std::istream& in) override;
  /// Throws WriteException above 65535 bytes, before anything is written.
  void writeTo(std::ostream& out) const override;

  std::string value;
};

/// A property that is an object: its members follow, and an AMF0ObjectEnd.
class AMF0PropObjectBegin final : public AMF0PropBase {
 public:
  AMF0PropObjectBegin() = default;
  explicit AMF0PropObjectBegin(std::string propertyName) : AMF0PropBase(std::move(propertyName)) {}
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;
};

class AMF0PropNumber final : public AMF0PropBase {
 public:
  AMF0PropNumber() = default;
  AMF0PropNumber(std::string propertyName, double number) : AMF0PropBase(std::move(propertyName)), value(number) {}
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;

  double value = 0;
};

class AMF0PropString final : public AMF0PropBase {
 public:
  AMF0PropString() = default;
  AMF0PropString(std::string propertyName, std::string text)
      : AMF0PropBase(std::move(propertyName)), value(std::move(text)) {}
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;

  std::string value;
};

}  // namespace qvs::amfmessage
