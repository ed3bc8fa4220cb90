// Our own type-safe printf engine with the Windows wide-printf meaning of
// every conversion: %s takes wide text (std::u16string or const char16_t*),
// %hs narrow UTF-8 text, %d/%i signed, %u unsigned, %x/%X hex, %o octal, %c a
// wide character, %f/%g doubles, %% a percent sign. Flags '-', '0', '+', ' ',
// '#', a width and a precision (also '*'), and the length modifiers h, hh, l,
// ll, I64 and z are understood. Without ll/I64 an integer is taken as 32 bits
// (so %d of 0xFFFFFFF0u prints -16 and %x of -1 prints ffffffff), as the C
// runtime reads its variable arguments. An argument of the wrong kind for its
// conversion, or a missing one, prints nothing and never reads memory it does
// not own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

class FormatArg {
 public:
  enum class Kind { kNone, kSigned, kUnsigned, kWide, kNarrow, kDouble };

  FormatArg() = default;
  template <typename T, typename std::enable_if<std::is_integral<T>::value && std::is_signed<T>::value, int>::type = 0>
  FormatArg(T v) : kind_(Kind::kSigned), i_(static_cast<int64_t>(v)) {}  // NOLINT
  template <typename T,
            typename std::enable_if<std::is_integral<T>::value && !std::is_signed<T>::value && !std::is_same<T, bool>::value,
                                    int>::type = 0>
  FormatArg(T v) : kind_(Kind::kUnsigned), u_(static_cast<uint64_t>(v)) {}  // NOLINT
  FormatArg(bool v) : kind_(Kind::kSigned), i_(v ? 1 : 0) {}                 // NOLINT
  FormatArg(char16_t v) : kind_(Kind::kUnsigned), u_(v) {}                  // NOLINT
  FormatArg(double v) : kind_(Kind::kDouble), d_(v) {}                      // NOLINT
  FormatArg(const std::u16string& v) : kind_(Kind::kWide), w_(v) {}        // NOLINT
  FormatArg(std::u16string_view v) : kind_(Kind::kWide), w_(v) {}          // NOLINT
  FormatArg(const char16_t* v)                                              // NOLINT
      : kind_(Kind::kWide), w_(v != nullptr ? std::u16string_view(v) : std::u16string_view(u"(null)")) {}
  FormatArg(const std::string& v) : kind_(Kind::kNarrow), n_(v) {}  // NOLINT
  FormatArg(const char* v)                                          // NOLINT
      : kind_(Kind::kNarrow), n_(v != nullptr ? std::string_view(v) : std::string_view("(null)")) {}

  Kind kind() const { return kind_; }
  int64_t signedValue() const { return kind_ == Kind::kUnsigned ? static_cast<int64_t>(u_) : i_; }
  uint64_t unsignedValue() const { return kind_ == Kind::kSigned ? static_cast<uint64_t>(i_) : u_; }
  double doubleValue() const { return d_; }
  std::u16string_view wide() const { return w_; }
  std::string_view narrow() const { return n_; }

 private:
  Kind kind_ = Kind::kNone;
  int64_t i_ = 0;
  uint64_t u_ = 0;
  double d_ = 0;
  std::u16string_view w_;
  std::string_view n_;
};

// The limit of every text composed with FormatWideString: 2048 wide
// characters, as a zeroed buffer of 2049 with a count of 2048.
constexpr size_t kFormatLimit = 2048;

// Formats and cuts the result at `limit` code units (a surrogate pair may be
// cut in half, as the C runtime does).
std::u16string FormatWideV(size_t limit, const char16_t* format, const FormatArg* args, size_t argCount);

// _vsnwprintf semantics into a caller's buffer of `count` units: the length
// when the whole text fitted into count units, else -1 with the first `count`
// units written. No terminator is written; that is the caller's task.
int SafeFormatWideV(char16_t* buffer, size_t count, const char16_t* format, const FormatArg* args, size_t argCount);

template <typename... Args>
std::u16string FormatWideLimited(size_t limit, const char16_t* format, const Args&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg()};
  return FormatWideV(limit, format, list, sizeof...(Args));
}

// printf-style into a wide string, cut at 2048 wide characters.
template <typename... Args>
std::u16string FormatWideString(const char16_t* format, const Args&... args) {
  return FormatWideLimited(kFormatLimit, format, args...);
}

template <typename... Args>
int SafeFormatWide(char16_t* buffer, size_t count, const char16_t* format, const Args&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg()};
  return SafeFormatWideV(buffer, count, format, list, sizeof...(Args));
}
