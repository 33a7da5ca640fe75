// The byte stream of a saved document: UTF-8 pieces in, bytes of the chosen
// encoding out (through iconv unless the encoding is UTF-8), gathered and
// handed to the stream in large blocks. Text where XML allows character
// references gets one for each character the encoding cannot hold; in names
// and markup such a character is an error.
#ifndef QMDB_QMDBXML_OUTPUT_H
#define QMDB_QMDBXML_OUTPUT_H

#include <iconv.h>

#include <ostream>
#include <string>

namespace qmdbxml {

/// The offset of the first byte of `text` that does not begin a valid UTF-8
/// sequence of a character XML 1.0 allows, or npos when there is none.
size_t badCharacter(const std::string& text);

class Output {
 public:
  explicit Output(std::ostream& out) : out_(out) {}
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Chooses the encoding; false (with `error` set) when iconv does not know it.
  bool open(const std::string& encoding, std::string& error);
  /// Writes valid UTF-8 `text`; `references` allows &#N; for characters the
  /// encoding lacks. False (with `error` set) when one cannot be written.
  bool write(const std::string& text, bool references, std::string& error);
  /// Hands everything gathered to the stream; false when the stream failed.
  bool flush();
  /// Ends the document: the converter back to its initial state, then flush.
  bool finish();

 private:
  std::ostream& out_;
  iconv_t converter_ = reinterpret_cast<iconv_t>(-1);
  std::string encoding_;
  std::string buffer_;
};

}  // namespace qmdbxml

#endif
