// Strings of the text library: an owned, zero-terminated run of bytes.
//
// QmCString holds text in the internal form (UTF-8); QmCExternString holds
// text in some caller's external coding. Both are plain values: copying one
// copies its bytes. Data() is never null: an empty string gives "".
// Nothing here throws: when memory runs out the string keeps what it could
// take and says so through Failed(), which every conversion passes on.
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
  QmTString(const QmTString& other) { *this = other; }
  QmTString& operator=(const QmTString& other);
  QmTString(QmTString&&) noexcept = default;
  QmTString& operator=(QmTString&&) noexcept = default;

  /// The characters, zero-terminated; valid until the string changes.
  const char* Data() const { return bytes_.c_str(); }
  /// The number of bytes, without the terminating zero.
  long Size() const { return static_cast<long>(bytes_.size()); }
  /// True when memory ran out while the text was made: it is incomplete.
  bool Failed() const { return failed_; }
  /// Replaces the content by `length` bytes of `text` (-1: up to its zero; null:
  /// empty); false, leaving the string empty and Failed(), when memory runs out.
  bool Copy(const char* text, long length = -1);
  /// Appends `length` bytes (all of them when -1); false, marking the string
  /// Failed(), when memory runs out.
  bool Append(const char* text, long length = -1);
  /// Appends one byte; false, marking the string Failed(), when memory runs out.
  bool Append(char c);
  /// Empties the string, and clears Failed().
  void Clear() {
    bytes_.clear();
    failed_ = false;
  }

 private:
  std::string bytes_;
  bool failed_ = false;
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
