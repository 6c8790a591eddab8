#include "runtime/xmlparser/object_path.h"

namespace svc::xml {
namespace {

// Each level of references in keys may double the length of what is below it.
constexpr int kMaxLevels = 3;

void AppendQuoted(std::string& path, std::string_view value) {
  path += '"';
  for (char c : value) {
    if (c == '"' || c == '\\') path += '\\';
    path += c;
  }
  path += '"';
}

class TPathReader {
 public:
  explicit TPathReader(TCimTokens& tokens) : tokens(tokens) {}

  std::string ReadReference() {
    if (++level > kMaxLevels) tokens.Reader().Fail("references in keys are nested too deep");
    std::string path;
    if (!tokens.NextChild()) tokens.Reader().Fail("VALUE.REFERENCE is empty");
    ReadObject(path);
    if (tokens.NextChild()) tokens.RefuseElement();
    --level;
    return path;
  }

 private:
  void ReadObject(std::string& path) {
    switch (tokens.Element()) {
      case EElement::kClassPath:
      case EElement::kLocalClassPath:
      case EElement::kInstancePath:
      case EElement::kLocalInstancePath:
        return ReadParts(path);
      default:
        return ReadPart(path);
    }
  }

  void ReadParts(std::string& path) {
    while (tokens.NextChild()) ReadPart(path);
  }

  void ReadPart(std::string& path) {
    switch (tokens.Element()) {
      case EElement::kNamespacePath:
        return ReadParts(path);
      case EElement::kHost:
        path += "//" + tokens.TextOf() + "/";
        return;
      case EElement::kLocalNamespacePath:
        return ReadNamespace(path);
      case EElement::kClassName:
        path += tokens.Required("NAME");
        return tokens.SkipEmpty();
      case EElement::kInstanceName:
        return ReadInstanceName(path);
      default:
        tokens.RefuseElement();
    }
  }

  void ReadNamespace(std::string& path) {
    for (const char* separator = ""; tokens.NextChild(); separator = "/") {
      if (tokens.Element() != EElement::kNamespace) tokens.RefuseElement();
      path += separator;
      path += tokens.Required("NAME");
      tokens.SkipEmpty();
    }
    path += ':';
  }

  void ReadInstanceName(std::string& path) {
    path += tokens.Required("CLASSNAME");
    for (char separator = '.'; tokens.NextChild(); separator = ',') {
      path += separator;
      if (tokens.Element() == EElement::kKeyBinding) {
        ReadKeyBinding(path);
      } else {
        ReadKey(path);
      }
    }
  }

  void ReadKeyBinding(std::string& path) {
    path += tokens.Required("NAME");
    path += '=';
    if (!tokens.NextChild()) tokens.Reader().Fail("KEYBINDING lacks its value");
    ReadKey(path);
    if (tokens.NextChild()) tokens.RefuseElement();
  }

  void ReadKey(std::string& path) {
    if (tokens.Element() == EElement::kValueReference) {
      AppendQuoted(path, ReadReference());
    } else if (tokens.Element() == EElement::kKeyValue) {
      const std::string_view type = tokens.Optional("VALUETYPE");
      if (type.empty() || type == "string")
        AppendQuoted(path, tokens.TextOf());
      else
        path += tokens.TextOf();
    } else {
      tokens.RefuseElement();
    }
  }

  TCimTokens& tokens;
  int level = 0;
};

}  // namespace

std::string ReadReferenceValue(TCimTokens& tokens) { return TPathReader(tokens).ReadReference(); }

}  // namespace svc::xml
