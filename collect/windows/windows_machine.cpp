#include "collect/windows/windows_machine.h"

#include <windows.h>

// Both need what windows.h declares.
#include <oleauto.h>
#include <wbemidl.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "base/error.h"
#include "base/shown_text.h"

namespace svc::collect {

std::string SystemProblem(unsigned long code) {
  const std::string said = CleanText(SystemMessage(code));
  const std::string number =
      code > 0xFFFF ? fmt::format("error {:#x}", code) : fmt::format("error {}", code);
  return said.empty() ? number : fmt::format("{} ({})", said, number);
}

namespace {

// --- Holders of what COM hands out ---

// Throws TError for a call that failed, in the system's words.
void Check(HRESULT result) {
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

// --- The management service of the running system (WMI) ---

constexpr const char* kControllerClass = "Microsoft_IPMI";

void Connect(const std::string& space, TCom<IWbemServices>& services) {
  TCom<IWbemLocator> locator;
  Check(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                         reinterpret_cast<void**>(locator.Place())));
  Check(locator->ConnectServer(TText(space).Get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                               services.Place()));
  Check(CoSetProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                          RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE));
}

void Select(const TCom<IWbemServices>& services, const std::string& className,
            TCom<IEnumWbemClassObject>& found) {
  Check(services->ExecQuery(TText("WQL").Get(), TText("SELECT * FROM " + className).Get(),
                            WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                            found.Place()));
}

// The next object; false behind the last. A provider that hangs is not waited for.
bool Next(const TCom<IEnumWbemClassObject>& found, TCom<IWbemClassObject>& object) {
  constexpr LONG kMilliseconds = 20'000;
  ULONG count = 0;
  const HRESULT result = found->Next(kMilliseconds, 1, object.Place(), &count);
  Check(result == WBEM_S_TIMEDOUT ? RPC_E_TIMEOUT : result);
  return count == 1;
}

TRow RowOf(const TCom<IWbemClassObject>& object) {
  TRow row;
  Check(object->BeginEnumeration(WBEM_FLAG_NONSYSTEM_ONLY));
  for (;;) {
    BSTR name = nullptr;
    TVariant value;
    if (object->Next(0, &name, value.Get(), nullptr, nullptr) != WBEM_S_NO_ERROR) return row;
    const std::string text = value.Text();
    if (!text.empty()) row[Narrow(name)] = text;
    SysFreeString(name);
  }
}

void Put(const TCom<IWbemClassObject>& object, const wchar_t* name, long number, VARTYPE type) {
  TVariant value;
  value.Get()->vt = type;
  if (type == VT_UI1)
    value.Get()->bVal = static_cast<BYTE>(number);
  else
    value.Get()->lVal = number;
  Check(object->Put(name, 0, value.Get(), 0));
}

// The arguments of RequestResponse (Windows, ipmidrv.mof). A controller's own address on its bus
// is 20h (IPMI 2.0, 5.1).
void MakeRequest(const TCom<IWbemServices>& services, std::uint8_t function, std::uint8_t command,
                 TCom<IWbemClassObject>& request) {
  constexpr long kControllerAddress = 0x20;
  TCom<IWbemClassObject> type, signature;
  Check(services->GetObject(TText(kControllerClass).Get(), 0, nullptr, type.Place(), nullptr));
  Check(type->GetMethod(L"RequestResponse", 0, signature.Place(), nullptr));
  if (!signature) Check(static_cast<HRESULT>(WBEM_E_INVALID_METHOD));
  Check(signature->SpawnInstance(0, request.Place()));
  Put(request, L"NetworkFunction", function, VT_UI1);
  Put(request, L"Lun", 0, VT_UI1);
  Put(request, L"ResponderAddress", kControllerAddress, VT_UI1);
  Put(request, L"Command", command, VT_UI1);
  Put(request, L"RequestDataSize", 0, VT_I4);
}

std::string Send(const TCom<IWbemServices>& services, const TCom<IWbemClassObject>& controller,
                 std::uint8_t function, std::uint8_t command) {
  TCom<IWbemClassObject> request, response;
  TVariant path, data;
  MakeRequest(services, function, command, request);
  Check(controller->Get(L"__RELPATH", 0, path.Get(), nullptr, nullptr));
  Check(services->ExecMethod(TText(path.Text()).Get(), TText("RequestResponse").Get(), 0, nullptr,
                             request.Get(), response.Place(), nullptr));
  if (!response) Check(static_cast<HRESULT>(WBEM_E_PROVIDER_FAILURE));
  Check(response->Get(L"ResponseData", 0, data.Get(), nullptr, nullptr));
  return data.Bytes();
}

// A connection belongs to the thread that made it.
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

// A thread that has an apartment of another kind keeps it.
TWmi::TWmi() : initialised(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}

TWmi::~TWmi() {
  if (initialised) CoUninitialize();
}

// What was read before the failure stays in the answer.
template <typename TValue, typename TRead>
TAnswer<TValue> AnswerOf(const TRead& read) {
  TAnswer<TValue> answer;
  try {
    read(answer.value);
  } catch (const TError& error) {
    answer.problem = error.what();
  }
  return answer;
}

TAnswer<std::vector<TRow>> TWmi::Instances(const std::string& space,
                                           const std::string& className) const {
  return AnswerOf<std::vector<TRow>>([&](std::vector<TRow>& rows) {
    TCom<IWbemServices> services;
    TCom<IEnumWbemClassObject> found;
    Connect(space, services);
    Select(services, className, found);
    for (;;) {
      TCom<IWbemClassObject> object;
      if (!Next(found, object)) return;
      rows.push_back(RowOf(object));
    }
  });
}

TAnswer<std::string> TWmi::AskController(std::uint8_t function, std::uint8_t command) const {
  return AnswerOf<std::string>([&](std::string& response) {
    TCom<IWbemServices> services;
    TCom<IEnumWbemClassObject> found;
    TCom<IWbemClassObject> controller;
    Connect(kDriverSpace, services);
    Select(services, kControllerClass, found);
    if (Next(found, controller)) response = Send(services, controller, function, command);
  });
}

// --- The registry of the running system ---

struct TCloseKey {
  using pointer = HKEY;
  void operator()(HKEY key) const { RegCloseKey(key); }
};
using TKey = std::unique_ptr<HKEY, TCloseKey>;

// Empty, with the system's reason in `error`, where the key cannot be read.
TKey OpenKey(HKEY above, const std::wstring& name, LSTATUS& error) {
  HKEY key = nullptr;
  error = RegOpenKeyExW(above, name.c_str(), 0, KEY_READ, &key);
  return TKey(error == ERROR_SUCCESS ? key : nullptr);
}

template <typename TNumber>
std::string Decimal(const std::string& bytes) {
  TNumber number = 0;
  if (bytes.size() != sizeof(number)) return {};
  std::memcpy(&number, bytes.data(), sizeof(number));
  return std::to_string(number);
}

// A NUL ends a text, and may lack; of several texts each has one.
std::string Characters(const std::string& bytes, bool areSeveral) {
  std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
  if (!areSeveral) return Narrow(text.substr(0, text.find(L'\0')));
  while (text.ends_with(L'\0')) text.pop_back();
  std::replace(text.begin(), text.end(), L'\0', L'\n');
  return Narrow(text);
}

std::string ValueAsText(DWORD type, const std::string& bytes) {
  switch (type) {
    case REG_DWORD:
      return Decimal<std::uint32_t>(bytes);
    case REG_QWORD:
      return Decimal<std::uint64_t>(bytes);
    case REG_SZ:
    case REG_EXPAND_SZ:
      return Characters(bytes, false);
    case REG_MULTI_SZ:
      return Characters(bytes, true);
    default:
      return bytes;
  }
}

// Names have up to 255 letters in keys (Windows, Registry Element Size Limits). A value with a
// longer name, or more data than any text of a device, is passed by.
TRow ValuesOf(HKEY key) {
  constexpr DWORD kMostValues = 256, kMostBytes = 4096, kLongestName = 256;
  TRow values;
  for (DWORD number = 0; number < kMostValues; ++number) {
    wchar_t name[kLongestName];
    std::string bytes(kMostBytes, '\0');
    DWORD nameSize = kLongestName, size = kMostBytes, type = 0;
    const LSTATUS error = RegEnumValueW(key, number, name, &nameSize, nullptr, &type,
                                        reinterpret_cast<BYTE*>(bytes.data()), &size);
    if (error == ERROR_MORE_DATA) continue;
    if (error != ERROR_SUCCESS) break;
    bytes.resize(size);
    if (std::string text = ValueAsText(type, bytes); !text.empty())
      values[Narrow({name, nameSize})] = std::move(text);
  }
  return values;
}

// --- The machine ---

class TThisWindowsMachine : public IWindowsMachine {
 public:
  TAnswer<std::vector<TRow>> Instances(const std::string& space,
                                       const std::string& className) const override {
    return wmi.Instances(space, className);
  }
  TAnswer<std::string> AskController(std::uint8_t function, std::uint8_t command) const override {
    return wmi.AskController(function, command);
  }
  TAnswer<TKeys> Keys(const std::string& path) const override { return RegistryKeys(path); }
  TAnswer<std::vector<TDriverService>> Drivers() const override { return DriverServices(); }
  std::string FileVersion(const std::string& path) const override { return VersionOfFile(path); }

  std::string SystemRoot() const override {
    std::wstring folder(GetSystemWindowsDirectoryW(nullptr, 0), L'\0');
    folder.resize(GetSystemWindowsDirectoryW(folder.data(), static_cast<UINT>(folder.size())));
    return Narrow(folder);
  }

 private:
  TWmi wmi;
};

}  // namespace

TAnswer<TKeys> RegistryKeys(const std::string& path) {
  constexpr DWORD kLongestName = 256;
  LSTATUS error = ERROR_SUCCESS;
  const TKey key = OpenKey(HKEY_LOCAL_MACHINE, Widen(path), error);
  if (error == ERROR_FILE_NOT_FOUND) return {};
  if (!key) return {{}, SystemProblem(static_cast<unsigned long>(error))};
  TAnswer<TKeys> answer;
  for (DWORD number = 0; number <= kMostDevices; ++number) {
    wchar_t name[kLongestName];
    DWORD size = kLongestName;
    error = RegEnumKeyExW(key.get(), number, name, &size, nullptr, nullptr, nullptr, nullptr);
    if (error == ERROR_NO_MORE_ITEMS) break;
    const TKey below = error == ERROR_SUCCESS ? OpenKey(key.get(), name, error) : TKey();
    if (below)
      answer.value[Narrow({name, size})] = ValuesOf(below.get());
    else
      answer.problem = SystemProblem(static_cast<unsigned long>(error));
  }
  return answer;
}

std::unique_ptr<IWindowsMachine> ThisWindowsMachine() {
  return std::make_unique<TThisWindowsMachine>();
}

}  // namespace svc::collect
