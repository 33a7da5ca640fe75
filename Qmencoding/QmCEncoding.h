// Coding systems and the encoding stack of the text library.
//
// The internal form of text is UTF-8. A coding system converts between it and
// one external coding: its decoder turns external text into internal text, its
// encoder the other way. Characters that cannot be converted become '?'.
// An encoding stack (QmCEncoding) holds the coding systems a caller pushed;
// the one on top decides the conversion. An empty stack, and the transparent
// coding system, pass text through unchanged (IsTransparent() is true).
#ifndef QMENCODING_QMCENCODING_H
#define QMENCODING_QMCENCODING_H

#include <memory>
#include <vector>

#include "QmCString.h"

class QmCCodingSystem;

/// Converts internal text (UTF-8) to the external coding of its coding system.
class QmCEncoder {
 public:
  explicit QmCEncoder(const QmCCodingSystem& system) : system_(system) {}
  /// Converts `length` bytes of `text` (-1: up to its zero; null gives an empty
  /// string); the result is Failed() when memory ran out.
  QmCExternString operator()(const char* text, long length) const;

 private:
  const QmCCodingSystem& system_;
};

/// Converts text of its coding system's external coding to internal text (UTF-8).
class QmCDecoder {
 public:
  explicit QmCDecoder(const QmCCodingSystem& system) : system_(system) {}
  /// Converts `length` bytes of `text` (-1: up to its zero; null gives an empty
  /// string); the result is Failed() when memory ran out.
  QmCString operator()(const char* text, long length) const;

 private:
  const QmCCodingSystem& system_;
};

/// One external coding, with its encoder and decoder.
class QmCCodingSystem {
 public:
  /// How a coding system converts.
  enum EncodingMethod {
    kNone = 0,         ///< no coding system (the result of popping an empty stack)
    kTransparent = 1,  ///< bytes pass unchanged
    kIdentity = 2,     ///< UTF-8 both sides; invalid sequences become '?'
    kLatin1 = 3,       ///< ISO 8859-1, converted by table
    kIconv = 4,        ///< any other coding that iconv knows
  };

  /// Makes the coding system of `name`; Method() is kNone when the name is
  /// unknown or memory ran out.
  explicit QmCCodingSystem(const char* name);
  /// Makes the transparent coding system.
  QmCCodingSystem();
  ~QmCCodingSystem();
  QmCCodingSystem(const QmCCodingSystem&) = delete;
  QmCCodingSystem& operator=(const QmCCodingSystem&) = delete;

  /// The conversion this system does.
  EncodingMethod Method() const { return method_; }
  /// The name it was made with ("" for the transparent system).
  const char* Name() const { return name_.Data(); }
  /// Internal to external.
  QmCEncoder& Encoder() const { return encoder_; }
  /// External to internal.
  QmCDecoder& Decoder() const { return decoder_; }

  /// Converts internal text to this system's coding (Failed() when memory ran out).
  QmCExternString Encode(const char* text, long length) const;
  /// Converts text of this system's coding to internal text (Failed() when memory ran out).
  QmCString Decode(const char* text, long length) const;

 private:
  EncodingMethod method_;
  QmTString name_;
  void* toExternal_ = nullptr;  // iconv descriptors of a kIconv system
  void* toInternal_ = nullptr;
  mutable QmCEncoder encoder_;
  mutable QmCDecoder decoder_;
};

/// The ISO 8859-1 coding system, made on first use and kept for the process.
QmCCodingSystem& fcodingSystem_ISO8859_1();

/// A stack of coding systems; the top one converts text at an interface.
class QmCEncoding {
 public:
  /// An empty stack, which is transparent.
  QmCEncoding();
  ~QmCEncoding();
  QmCEncoding(const QmCEncoding&) = delete;
  QmCEncoding& operator=(const QmCEncoding&) = delete;

  /// Pushes the coding system of `name` ("ISO8859", "ISO8859-1", "LATIN1",
  /// "UTF-8" or any name iconv knows); false, changing nothing, for an unknown
  /// name or when memory runs out.
  bool PushCodingSystem(const char* name);
  /// Pushes the transparent coding system; false, changing nothing, when memory runs out.
  bool PushTransparentCodingSystem();
  /// Pops the top system and gives its method; kNone (and no change) on an empty stack.
  QmCCodingSystem::EncodingMethod PopCodingSystem();
  /// True when the top system passes text unchanged (also for an empty stack).
  bool IsTransparent() const { return transparent_; }
  /// The encoder of the top system.
  QmCEncoder& Encoder() const;
  /// The decoder of the top system.
  QmCDecoder& Decoder() const;

 private:
  const QmCCodingSystem& top() const;
  bool push(std::unique_ptr<QmCCodingSystem> system);

  std::vector<std::unique_ptr<QmCCodingSystem>> stack_;
  bool transparent_ = true;
};

#endif
