// The management service of the running Windows system (WMI). A connection belongs to the thread
// that made it.
#ifndef COLLECT_WINDOWS_WMI_H_
#define COLLECT_WINDOWS_WMI_H_

#include <windows.h>
#include <memory>

#include "base/error.h"
#include "collect/windows/windows_machine.h"

namespace svc::collect {

class TWmi {
 public:
  TWmi();
  ~TWmi();
  TWmi(const TWmi&) = delete;
  TWmi& operator=(const TWmi&) = delete;

  // As IWindowsMachine says of its operations.
  TAnswer<std::vector<TRow>> Instances(const std::string& space,
                                       const std::string& className) const;
  TAnswer<std::string> AskController(std::uint8_t function, std::uint8_t command) const;

 private:
  bool initialised;
};

}  // namespace svc::collect

// Holders of what COM hands out. One thread.

// Need what windows.h declares.
#include <oleauto.h>
#include <wbemidl.h>

#include <string>

#include "base/utf16.h"

namespace svc::collect {

// Throws TError for a call that failed, in the system's words.
inline void Check(HRESULT result) {
  if (FAILED(result)) throw TError(SystemProblem(static_cast<unsigned long>(result)));
}

// A reference to an object, counted.
template <typename TInterface>
class TCom {
 public:
  TCom() = default;
  ~TCom() {
    if (object != nullptr) object->Release();
  }
  TCom(const TCom&) = delete;
  TCom& operator=(const TCom&) = delete;

  TInterface* operator->() const { return object; }
  TInterface* Get() const { return object; }
  // For a call that fills it. REQUIRES: it is empty.
  TInterface** Place() { return &object; }
  explicit operator bool() const { return object != nullptr; }

 private:
  TInterface* object = nullptr;
};

class TText {
 public:
  explicit TText(const std::string& text) : text(SysAllocString(Widen(text).c_str())) {}
  ~TText() { SysFreeString(text); }
  TText(const TText&) = delete;
  TText& operator=(const TText&) = delete;

  BSTR Get() const { return text; }

 private:
  BSTR text;
};

class TVariant {
 public:
  TVariant() { VariantInit(&variant); }
  ~TVariant() { VariantClear(&variant); }
  TVariant(const TVariant&) = delete;
  TVariant& operator=(const TVariant&) = delete;

  VARIANT* Get() { return &variant; }

  // Empty for null, for an array and for an object.
  std::string Text() {
    if (variant.vt == VT_NULL || variant.vt == VT_EMPTY || (variant.vt & VT_ARRAY) != 0) return {};
    TVariant text;
    if (FAILED(VariantChangeTypeEx(text.Get(), &variant, LOCALE_INVARIANT, VARIANT_ALPHABOOL,
                                   VT_BSTR)))
      return {};
    return Narrow({text.variant.bstrVal, SysStringLen(text.variant.bstrVal)});
  }

  // The bytes of an array of bytes; empty for anything else.
  std::string Bytes() {
    if (variant.vt != (VT_ARRAY | VT_UI1)) return {};
    void* first = nullptr;
    LONG lower = 0, upper = -1;
    SafeArrayGetLBound(variant.parray, 1, &lower);
    SafeArrayGetUBound(variant.parray, 1, &upper);
    if (upper < lower || FAILED(SafeArrayAccessData(variant.parray, &first))) return {};
    const std::string bytes(static_cast<const char*>(first),
                            static_cast<std::size_t>(upper - lower + 1));
    SafeArrayUnaccessData(variant.parray);
    return bytes;
  }

 private:
  VARIANT variant;
};

}  // namespace svc::collect

#endif  // COLLECT_WINDOWS_WMI_H_
