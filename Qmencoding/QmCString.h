// Strings of the text library: an owned, zero-terminated run of bytes.
//
// QmCString holds text in the internal form (UTF-8); QmCExternString holds
// text in some caller's external coding. Both are plain values: copying one
// copies its bytes. Data() is never null: an empty string gives "".
#ifndef QMENCODING_QMCSTRING_H
#define QMENCODING_QMCSTRING_H

#include <string>

/// An owned, zero-terminated byte string; the common base of the two string kinds.
class QmTString {
 public:
  QmTString() = default;
  /// Copies `length` bytes of `text` (the whole text up to its zero when length is -1).
  QmTString(const char* text, long length) { Copy(text, length); }
  virtual ~QmTString() = default;
  QmTString(const QmTString&) = default;
  QmTString& operator=(const QmTString&) = default;
  QmTString(QmTString&&) = default;
  QmTString& operator=(QmTString&&) = default;

  /// The characters, zero-terminated; valid until the string changes.
  const char* Data() const { return bytes_.c_str(); }
  /// The number of bytes, without the terminating zero.
  long Size() const { return static_cast<long>(bytes_.size()); }
  /// Replaces the content by `length` bytes of `text` (-1: up to its zero; null: empty).
  void Copy(const char* text, long length = -1);
  /// Appends `length` bytes (all of them when -1).
  void Append(const char* text, long length = -1);
  /// Appends one byte.
  void Append(char c) { bytes_.push_back(c); }
  /// Empties the string.
  void Clear() { bytes_.clear(); }

 private:
  std::string bytes_;
};

/// Text in the internal form (UTF-8), as a decoder gives it.
class QmCString : public QmTString {
 public:
  using QmTString::QmTString;
};

/// Text in an external coding, as an encoder gives it.
class QmCExternString : public QmTString {
 public:
  using QmTString::QmTString;
};

#endif
