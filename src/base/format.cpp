#include "base/format.h"

#include <climits>
#include <cstdio>
#include <string>

#include "platform/text/unicode.h"

namespace {

// Collects the output: keeps at most `capacity` units but counts them all, so
// a huge width or an overlong text never costs more memory than the caller's
// limit.
class Sink {
 public:
  explicit Sink(size_t capacity) : capacity_(capacity) {}

  void Put(char16_t c) {
    if (text_.size() < capacity_) text_.push_back(c);
    ++total_;
  }
  void Put(std::u16string_view s) {
    const size_t room = capacity_ - text_.size();
    text_.append(s.substr(0, room < s.size() ? room : s.size()));
    total_ += s.size();
  }
  void Pad(char16_t c, size_t count) {
    const size_t room = capacity_ - text_.size();
    text_.append(count < room ? count : room, c);
    total_ += count;
  }

  const std::u16string& text() const { return text_; }
  std::u16string& text() { return text_; }
  size_t total() const { return total_; }

 private:
  size_t capacity_;
  std::u16string text_;
  size_t total_ = 0;
};

enum Flags : unsigned {
  kLeft = 1,
  kPlus = 2,
  kSpace = 4,
  kAlternate = 8,
  kZero = 16,
};

enum class Length { kDefault, kChar, kShort, kLong, kLongLong, kWide, kSize };

struct Field {
  unsigned flags = 0;
  size_t width = 0;
  bool hasPrecision = false;
  size_t precision = 0;
  Length length = Length::kDefault;
};

// A finished field before padding: a sign or prefix, the zeros a precision
// asks for, the digits, and for a floating-point number with a precision
// beyond what the C library is asked to render, more zeros and the exponent.
// The zero runs are counted, never built, so a precision costs no memory.
struct Parts {
  std::u16string_view prefix;
  size_t zeros = 0;
  std::u16string_view body;
  size_t tailZeros = 0;
  std::u16string_view tail;
};

// Writes the field, zero padding going between the prefix and the digits.
void EmitField(Sink* sink, const Field& field, const Parts& parts, bool zeroPad) {
  const size_t used = parts.prefix.size() + parts.zeros + parts.body.size() + parts.tailZeros + parts.tail.size();
  const size_t pad = field.width > used ? field.width - used : 0;
  const bool left = (field.flags & kLeft) != 0;
  if (!left && !zeroPad) sink->Pad(u' ', pad);
  sink->Put(parts.prefix);
  if (!left && zeroPad) sink->Pad(u'0', pad);
  sink->Pad(u'0', parts.zeros);
  sink->Put(parts.body);
  sink->Pad(u'0', parts.tailZeros);
  sink->Put(parts.tail);
  if (left) sink->Pad(u' ', pad);
}

void EmitField(Sink* sink, const Field& field, std::u16string_view prefix, std::u16string_view body,
               bool zeroPad) {
  Parts parts;
  parts.prefix = prefix;
  parts.body = body;
  EmitField(sink, field, parts, zeroPad);
}

// The C library renders at most this many digits after the point; every
// digit of a double past it is zero, so a longer precision adds counted zeros.
constexpr size_t kRenderedPrecision = 1100;

class Formatter {
 public:
  Formatter(const FormatArg* args, size_t count) : args_(args), count_(count) {}

  const FormatArg* Next() {
    if (next_ >= count_) return nullptr;
    return &args_[next_++];
  }

  void Run(Sink* sink, const char16_t* format) {
    if (format == nullptr) return;
    const char16_t* p = format;
    while (*p != 0) {
      if (*p != u'%') {
        sink->Put(*p++);
        continue;
      }
      const char16_t* start = p++;
      Field field;
      ParseFlags(&p, &field);
      ParseWidth(&p, &field);
      ParsePrecision(&p, &field);
      ParseLength(&p, &field);
      const char16_t conv = *p;
      if (conv == 0) return;  // a lone '%' at the end prints nothing
      ++p;
      if (!Convert(sink, field, conv)) {
        // Not a conversion: the text stands as written.
        sink->Put(std::u16string_view(start, static_cast<size_t>(p - start)));
      }
    }
  }

 private:
  static void ParseFlags(const char16_t** p, Field* field) {
    for (;; ++*p) {
      switch (**p) {
        case u'-': field->flags |= kLeft; break;
        case u'+': field->flags |= kPlus; break;
        case u' ': field->flags |= kSpace; break;
        case u'#': field->flags |= kAlternate; break;
        case u'0': field->flags |= kZero; break;
        default: return;
      }
    }
  }

  static size_t ParseNumber(const char16_t** p) {
    size_t value = 0;
    while (**p >= u'0' && **p <= u'9') {
      if (value < static_cast<size_t>(INT_MAX)) value = value * 10 + static_cast<size_t>(**p - u'0');
      ++*p;
    }
    return value < static_cast<size_t>(INT_MAX) ? value : static_cast<size_t>(INT_MAX);
  }

  // The value of a '*': an integer argument taken as 32 bits.
  bool StarValue(int32_t* value) {
    const FormatArg* arg = Next();
    if (arg == nullptr) return false;
    if (arg->kind() != FormatArg::Kind::kSigned && arg->kind() != FormatArg::Kind::kUnsigned) return false;
    *value = static_cast<int32_t>(static_cast<uint32_t>(arg->unsignedValue()));
    return true;
  }

  void ParseWidth(const char16_t** p, Field* field) {
    if (**p == u'*') {
      ++*p;
      int32_t v = 0;
      if (StarValue(&v)) {
        if (v < 0) {
          field->flags |= kLeft;
          field->width = v == INT32_MIN ? static_cast<size_t>(INT32_MAX) : static_cast<size_t>(-v);
        } else {
          field->width = static_cast<size_t>(v);
        }
      }
      return;
    }
    field->width = ParseNumber(p);
  }

  void ParsePrecision(const char16_t** p, Field* field) {
    if (**p != u'.') return;
    ++*p;
    if (**p == u'*') {
      ++*p;
      int32_t v = 0;
      if (StarValue(&v) && v >= 0) {
        field->hasPrecision = true;
        field->precision = static_cast<size_t>(v);
      }
      return;
    }
    field->hasPrecision = true;
    field->precision = ParseNumber(p);
  }

  // h, hh, l, ll, w, z (and j, t), L, I64, I32 and I. 'l' is 32 bits, as a
  // long is on Windows; 'I' alone is pointer-sized, 64 bits on our target.
  static void ParseLength(const char16_t** p, Field* field) {
    const std::u16string_view rest(*p);
    struct Modifier {
      std::u16string_view text;
      Length length;
    };
    static const Modifier kModifiers[] = {
        {u"hh", Length::kChar},     {u"h", Length::kShort},   {u"ll", Length::kLongLong},
        {u"l", Length::kLong},      {u"w", Length::kWide},    {u"z", Length::kSize},
        {u"j", Length::kSize},      {u"t", Length::kSize},    {u"L", Length::kDefault},
        {u"I64", Length::kLongLong}, {u"I32", Length::kLong}, {u"I", Length::kSize},
    };
    for (const Modifier& m : kModifiers) {
      if (rest.substr(0, m.text.size()) == m.text) {
        field->length = m.length;
        *p += m.text.size();
        return;
      }
    }
  }

  // Returns false when `conv` is no conversion character at all.
  bool Convert(Sink* sink, const Field& field, char16_t conv) {
    switch (conv) {
      case u'%':
        sink->Put(u'%');
        return true;
      case u'd':
      case u'i':
        Integer(sink, field, Next(), true, 10, false);
        return true;
      case u'u':
        Integer(sink, field, Next(), false, 10, false);
        return true;
      case u'x':
        Integer(sink, field, Next(), false, 16, false);
        return true;
      case u'X':
        Integer(sink, field, Next(), false, 16, true);
        return true;
      case u'o':
        Integer(sink, field, Next(), false, 8, false);
        return true;
      case u'p': {
        Field pointer = field;
        pointer.length = Length::kLongLong;
        pointer.hasPrecision = true;
        pointer.precision = 16;
        pointer.flags &= ~static_cast<unsigned>(kAlternate);
        Integer(sink, pointer, Next(), false, 16, true);
        return true;
      }
      case u'c':
      case u'C':
        Character(sink, field, Next(), Narrow(field, conv == u'C'));
        return true;
      case u's':
      case u'S':
        String(sink, field, Next(), Narrow(field, conv == u'S'));
        return true;
      case u'f':
      case u'F':
      case u'e':
      case u'E':
      case u'g':
      case u'G':
      case u'a':
      case u'A':
        Double(sink, field, Next(), static_cast<char>(conv));
        return true;
      case u'n':
        Next();  // never writes through an argument
        return true;
      default:
        return false;
    }
  }

  // In wide printf %s and %c are wide; 'h' makes them narrow, 'l' and 'w'
  // wide; %S and %C are the narrow forms unless 'l' or 'w' says otherwise.
  static bool Narrow(const Field& field, bool upper) {
    if (field.length == Length::kShort) return true;
    if (field.length == Length::kLong || field.length == Length::kWide) return false;
    return upper;
  }

  static void Integer(Sink* sink, const Field& field, const FormatArg* arg, bool isSigned, unsigned base,
                      bool upper) {
    if (arg == nullptr ||
        (arg->kind() != FormatArg::Kind::kSigned && arg->kind() != FormatArg::Kind::kUnsigned)) {
      return;
    }
    // The argument is read at the width the length modifier names, as the C
    // runtime reads its variable arguments.
    const uint64_t raw = arg->unsignedValue();
    bool negative = false;
    uint64_t magnitude = 0;
    if (isSigned) {
      int64_t v = 0;
      switch (field.length) {
        case Length::kChar: v = static_cast<int8_t>(static_cast<uint8_t>(raw)); break;
        case Length::kShort: v = static_cast<int16_t>(static_cast<uint16_t>(raw)); break;
        case Length::kLongLong:
        case Length::kSize: v = static_cast<int64_t>(raw); break;
        default: v = static_cast<int32_t>(static_cast<uint32_t>(raw)); break;
      }
      negative = v < 0;
      magnitude = negative ? (~static_cast<uint64_t>(v) + 1) : static_cast<uint64_t>(v);
    } else {
      switch (field.length) {
        case Length::kChar: magnitude = static_cast<uint8_t>(raw); break;
        case Length::kShort: magnitude = static_cast<uint16_t>(raw); break;
        case Length::kLongLong:
        case Length::kSize: magnitude = raw; break;
        default: magnitude = static_cast<uint32_t>(raw); break;
      }
    }

    char16_t digits[72];
    size_t n = 0;
    const char16_t* alphabet = upper ? u"0123456789ABCDEF" : u"0123456789abcdef";
    for (uint64_t v = magnitude; v != 0; v /= base) digits[n++] = alphabet[v % base];

    std::u16string body;
    for (size_t k = n; k > 0; --k) body.push_back(digits[k - 1]);
    const size_t precision = field.hasPrecision ? field.precision : 1;
    const size_t zeros = precision > n ? precision - n : 0;
    if (base == 8 && (field.flags & kAlternate) && zeros == 0 && (body.empty() || body[0] != u'0')) {
      body.insert(body.begin(), u'0');
    }

    std::u16string prefix;
    if (isSigned) {
      if (negative) {
        prefix = u"-";
      } else if (field.flags & kPlus) {
        prefix = u"+";
      } else if (field.flags & kSpace) {
        prefix = u" ";
      }
    } else if (base == 16 && (field.flags & kAlternate) && magnitude != 0) {
      prefix = upper ? u"0X" : u"0x";
    }
    const bool zeroPad = (field.flags & kZero) && !(field.flags & kLeft) && !field.hasPrecision;
    Parts parts;
    parts.prefix = prefix;
    parts.zeros = zeros;
    parts.body = body;
    EmitField(sink, field, parts, zeroPad);
  }

  static void Character(Sink* sink, const Field& field, const FormatArg* arg, bool narrow) {
    if (arg == nullptr ||
        (arg->kind() != FormatArg::Kind::kSigned && arg->kind() != FormatArg::Kind::kUnsigned)) {
      return;
    }
    char16_t c = narrow ? static_cast<char16_t>(static_cast<uint8_t>(arg->unsignedValue()))
                        : static_cast<char16_t>(arg->unsignedValue());
    const bool zeroPad = (field.flags & kZero) && !(field.flags & kLeft);
    EmitField(sink, field, std::u16string_view(), std::u16string_view(&c, 1), zeroPad);
  }

  static void String(Sink* sink, const Field& field, const FormatArg* arg, bool narrow) {
    if (arg == nullptr) return;
    std::u16string decoded;
    std::u16string_view text;
    if (narrow) {
      if (arg->kind() != FormatArg::Kind::kNarrow) return;
      decoded = platform::Utf8ToUtf16(arg->narrow());
      text = decoded;
    } else {
      if (arg->kind() != FormatArg::Kind::kWide) return;
      text = arg->wide();
    }
    // The text ends at its first NUL, as a C string would; a precision cuts.
    const size_t nul = text.find(u'\0');
    if (nul != std::u16string_view::npos) text = text.substr(0, nul);
    if (field.hasPrecision && field.precision < text.size()) text = text.substr(0, field.precision);
    const bool zeroPad = (field.flags & kZero) && !(field.flags & kLeft);
    EmitField(sink, field, std::u16string_view(), text, zeroPad);
  }

  static void Double(Sink* sink, const Field& field, const FormatArg* arg, char conv) {
    if (arg == nullptr || arg->kind() != FormatArg::Kind::kDouble) return;
    if (field.hasPrecision && field.precision > kRenderedPrecision) {
      LongPrecisionDouble(sink, field, arg->doubleValue(), conv);
      return;
    }
    // The number itself is rendered by the C library's narrow printf, which
    // agrees with the wide one for every digit; the field is ours.
    std::string fmt = "%";
    if (field.flags & kLeft) fmt += '-';
    if (field.flags & kPlus) fmt += '+';
    if (field.flags & kSpace) fmt += ' ';
    if (field.flags & kAlternate) fmt += '#';
    if (field.flags & kZero) fmt += '0';
    fmt += "*.*";
    fmt += conv;
    // A very wide field is padded here with blanks rather than rendered.
    const bool padHere = field.width > 4096;
    const int width = padHere ? 0 : static_cast<int>(field.width);
    const int precision = field.hasPrecision ? static_cast<int>(field.precision) : -1;
    char small[128];
    int len = std::snprintf(small, sizeof small, fmt.c_str(), width, precision, arg->doubleValue());
    if (len < 0) return;
    std::string rendered;
    if (static_cast<size_t>(len) < sizeof small) {
      rendered.assign(small, static_cast<size_t>(len));
    } else {
      rendered.resize(static_cast<size_t>(len) + 1);
      std::snprintf(&rendered[0], rendered.size(), fmt.c_str(), width, precision, arg->doubleValue());
      rendered.resize(static_cast<size_t>(len));
    }
    std::u16string wide(rendered.begin(), rendered.end());
    if (padHere) {
      EmitField(sink, field, std::u16string_view(), wide, false);
    } else {
      sink->Put(wide);
    }
  }

  // A precision past kRenderedPrecision: the number is rendered with that
  // many digits, and the rest of the digits, all zeros, are counted in before
  // the exponent. %g without '#' drops trailing zeros, so it gets none.
  static void LongPrecisionDouble(Sink* sink, const Field& field, double value, char conv) {
    std::string fmt = "%";
    if (field.flags & kPlus) fmt += '+';
    if (field.flags & kSpace) fmt += ' ';
    if (field.flags & kAlternate) fmt += '#';
    fmt += ".*";
    fmt += conv;
    const int precision = static_cast<int>(kRenderedPrecision);
    const int len = std::snprintf(nullptr, 0, fmt.c_str(), precision, value);
    if (len < 0) return;
    std::string rendered(static_cast<size_t>(len) + 1, '\0');
    std::snprintf(&rendered[0], rendered.size(), fmt.c_str(), precision, value);
    rendered.resize(static_cast<size_t>(len));
    const std::u16string wide(rendered.begin(), rendered.end());

    const bool finite = value - value == 0;
    const char lower = static_cast<char>(conv | 0x20);
    size_t start = 0;
    if (!wide.empty() && (wide[0] == u'-' || wide[0] == u'+' || wide[0] == u' ')) start = 1;
    if (lower == 'a' && wide.size() >= start + 2) start += 2;  // "0x"
    size_t exponent = wide.size();
    if (lower == 'e' || lower == 'g') exponent = wide.find_first_of(u"eE", start);
    if (lower == 'a') exponent = wide.find_first_of(u"pP", start);
    if (exponent == std::u16string::npos) exponent = wide.size();

    Parts parts;
    parts.prefix = std::u16string_view(wide).substr(0, start);
    parts.body = std::u16string_view(wide).substr(start, exponent - start);
    parts.tail = std::u16string_view(wide).substr(exponent);
    if (finite && (lower != 'g' || (field.flags & kAlternate))) {
      parts.tailZeros = field.precision - kRenderedPrecision;
    }
    const bool zeroPad = finite && (field.flags & kZero) && !(field.flags & kLeft);
    EmitField(sink, field, parts, zeroPad);
  }

  const FormatArg* args_;
  size_t count_;
  size_t next_ = 0;
};

}  // namespace

std::u16string FormatWideV(size_t limit, const char16_t* format, const FormatArg* args, size_t argCount) {
  Sink sink(limit);
  Formatter(args, argCount).Run(&sink, format);
  // The result is read as the C string its zeroed buffer would hold: it ends
  // at its first NUL.
  std::u16string& text = sink.text();
  const size_t nul = text.find(u'\0');
  if (nul != std::u16string::npos) text.resize(nul);
  return std::move(text);
}

int SafeFormatWideV(char16_t* buffer, size_t count, const char16_t* format, const FormatArg* args,
                    size_t argCount) {
  Sink sink(count);
  Formatter(args, argCount).Run(&sink, format);
  const std::u16string& text = sink.text();
  if (buffer != nullptr) text.copy(buffer, text.size());
  if (sink.total() > count || sink.total() > static_cast<size_t>(INT_MAX)) return -1;
  return static_cast<int>(sink.total());
}
