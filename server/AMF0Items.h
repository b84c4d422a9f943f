#pragma once

#include <exception>
#include <istream>
#include <ostream>
#include <string>
#include <utility>

namespace qvs::amfmessage {

// The items of an AMF0 script tag as values, one object for each item: written to a stream one after another, or read
// back by a caller that expects this sequence. For files that the recorder writes itself; script data from outside is
// read by ScriptReader, which accepts all of AMF0. No references, no tables. All numbers are big-endian. A failed read
// leaves the stream after what it consumed, and its exception mask as it was.

/// The input has another item than the one that was expected.
class ParseException : public std::exception {
 public:
  const char* what() const noexcept override { return "AMF0: another item than the expected one"; }
};

/// A name is longer than its field can say.
class WriteException : public std::exception {
 public:
  const char* what() const noexcept override { return "AMF0: a name of more than 65535 bytes"; }
};

/// An item without a name. The order of the operations is part of the interface.
class AMF0Base {
 public:
  /// Reads the item at the stream's position. Throws ParseException for another item, and std::ios_base::failure if
  /// `in` ends first.
  virtual void readFrom(std::istream& in) = 0;
  /// Writes the item. A stream that fails is not reported here: the caller turns the exceptions of the stream on, or
  /// checks its state.
  virtual void writeTo(std::ostream& out) const = 0;

 protected:
  ~AMF0Base() = default;
};

/// A property: a name, stored as an AMF0NoHeaderString, followed by an item.
class AMF0PropBase {
 public:
  /// As AMF0Base::readFrom; takes any name and stores it in `name`.
  virtual void readFrom(std::istream& in) = 0;
  /// Throws WriteException, before anything is written, for a name above 65535 bytes.
  virtual void writeTo(std::ostream& out) const = 0;

  /// The same, and throws ParseException for another name as well, after the whole property was read.
  void readExpecting(std::istream& in, const std::string& expectedName);

  std::string name;

 protected:
  AMF0PropBase() = default;
  explicit AMF0PropBase(std::string propertyName) : name(std::move(propertyName)) {}
  ~AMF0PropBase() = default;
};

/// Marker 3 (AMF 0 specification, 2.5). Members follow, as properties, and an AMF0ObjectEnd.
class AMF0ObjectBegin final : public AMF0Base {
 public:
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;
};

/// An empty name and marker 9, so the bytes 0, 0, 9. When reading, a name that is not empty is skipped.
class AMF0ObjectEnd final : public AMF0Base {
 public:
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;
};

/// An ECMA array (2.10): marker 8 and a u32 count, which is written as 0. The format takes any count as a hint; this
/// reader accepts 0 only, which is what the writer makes. Members follow, and an AMF0ArrayEnd.
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

/// A strict array (2.12): marker 10 and a u32 count of the items that follow, without names and without an end.
class AMF0StrictArrayBegin final : public AMF0Base {
 public:
  AMF0StrictArrayBegin() = default;
  explicit AMF0StrictArrayBegin(double itemCount) : count(itemCount) {}
  void readFrom(std::istream& in) override;
  /// A count outside of the field is written as the nearest number inside, not-a-number as 0, a fraction truncated.
  void writeTo(std::ostream& out) const override;

  /// A double, since script data has no other number.
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

/// Up to 65535 bytes marker 2, a u16 length and the bytes (2.4); above that marker 12, a u32 length and the bytes
/// (2.14). Either is read, whatever the length, and its memory grows with what has come, not with the length.
class AMF0String final : public AMF0Base {
 public:
  AMF0String() = default;
  explicit AMF0String(std::string text) : value(std::move(text)) {}
  void readFrom(std::istream& in) override;
  /// Throws std::out_of_range from 4 GiB on.
  void writeTo(std::ostream& out) const override;

  std::string value;
};

/// A u16 length and the bytes: a string without marker, as names are stored.
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

/// A property that is a number: the name, and an AMF0Number.
class AMF0PropNumber final : public AMF0PropBase {
 public:
  AMF0PropNumber() = default;
  AMF0PropNumber(std::string propertyName, double number) : AMF0PropBase(std::move(propertyName)), value(number) {}
  void readFrom(std::istream& in) override;
  void writeTo(std::ostream& out) const override;

  double value = 0;
};

/// A property that is a string: the name, and an AMF0String.
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
