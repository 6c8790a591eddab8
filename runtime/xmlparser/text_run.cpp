#include "runtime/xmlparser/text_run.h"

#include <cstring>

#include "runtime/xmlparser/characters.h"
#include "runtime/xmlparser/markup.h"
#include "runtime/xmlparser/references.h"

namespace svc::xml {
namespace {

constexpr std::string_view kCdataOpening = "<![CDATA[";

bool EndsWith(const char* begin, const char* end, char c) {
  return end - begin >= 2 && end[-1] == c && end[-2] == c;
}

class TRunDecoder {
 public:
  TRunDecoder(TDocumentText& text, char* plainEnd)
      : text(text), rewrite(plainEnd), in(rewrite.in), out(rewrite.out) {}

  TTextRun Decode() {
    text.Open(rewrite);
    while (Step()) Keep(ScanPlainText(text, in));
    text.Close();
    return {out, in};
  }

 private:
  // Takes the source up to `to` over as it is.
  void Keep(char* to) {
    const auto length = static_cast<std::size_t>(to - in);
    rewrite.lineEnds += CountLineEnds(in, to);
    std::memmove(out, in, length);
    out += length;
    in = to;
  }

  // Leaves the source up to `to` out.
  void Drop(const char* to) {
    rewrite.lineEnds += CountLineEnds(in, to);
    in += to - in;
  }

  // Handles what is not plain at `in`; false at a start or end tag.
  bool Step() {
    if (in == text.End()) text.FailAtEnd();
    if (*in == '\r') {
      TakeLineEnd();
    } else if (*in == '&') {
      TakeReference();
    } else if (GoesOnWith(text, in, kCdataOpening)) {
      TakeCdata();
    } else if (GoesOnWith(text, in, "<!--")) {
      Drop(SkipComment(text, in));
    } else if (GoesOnWith(text, in, "<?")) {
      Drop(ReadInstruction(text, in).end);
    } else if (EndsWithin(text, in, kCdataOpening) || EndsWithin(text, in, "<!--")) {
      text.FailAtEnd();
    } else if (GoesOnWith(text, in, "<!")) {
      text.Fail(in, "malformed comment or CDATA section");
    } else {
      return false;
    }
    return true;
  }

  void TakeLineEnd() {
    const bool isPair = text.End() - in > 1 && in[1] == '\n';
    *out++ = '\n';
    in += isPair ? 2 : 1;
    ++rewrite.lineEnds;
  }

  void TakeReference() { in += ReadReference(text, in, out) - in; }

  void TakeCdata() {
    in += kCdataOpening.size();
    for (char* at = in;;) {  // [in, at) is checked and not yet taken over.
      at += FindTextStop(at, text.End()) - at;
      if (at == text.End()) text.FailAtEnd();
      if (*at == '>' && EndsWith(in, at, ']')) {
        Keep(at - 2);
        in = at + 1;
        return;
      }
      if (*at == '\r') {
        Keep(at);
        TakeLineEnd();
        at = in;
      } else {
        at += SkipStop(text, at, text.End()) - at;
      }
    }
  }

  TDocumentText& text;
  TRewrite rewrite;
  char*& in;
  char*& out;
};

}  // namespace

char* ScanPlainTextFrom(const TDocumentText& text, char* begin, char* stop) {
  char* const end = text.End();
  while (stop != end && *stop != '<' && *stop != '&' && *stop != '\r') {
    if (*stop == '>' && EndsWith(begin, stop, ']'))
      text.Fail(stop, "\"]]>\" is not allowed in a text");
    stop += SkipStop(text, stop, end) - stop;
    stop += FindTextStop(stop, end) - stop;
  }
  return stop;
}

TTextRun DecodeTextRun(TDocumentText& text, char* plainEnd) {
  return TRunDecoder(text, plainEnd).Decode();
}

}  // namespace svc::xml
