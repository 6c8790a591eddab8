#include "collect/windows/wmi.h"

#include "collect/windows/windows_sources.h"

namespace svc::collect {
namespace {

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

}  // namespace

// A thread that has an apartment of another kind keeps it.
TWmi::TWmi() : initialised(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}

TWmi::~TWmi() {
  if (initialised) CoUninitialize();
}

TAnswer<std::vector<TRow>> TWmi::Instances(const std::string& space,
                                           const std::string& className) const {
  TAnswer<std::vector<TRow>> answer;
  try {
    TCom<IWbemServices> services;
    TCom<IEnumWbemClassObject> found;
    Connect(space, services);
    Select(services, className, found);
    for (;;) {
      TCom<IWbemClassObject> object;
      if (!Next(found, object)) return answer;
      answer.value.push_back(RowOf(object));
    }
  } catch (const TError& error) {
    answer.problem = error.what();
  }
  return answer;
}

TAnswer<std::string> TWmi::AskController(std::uint8_t function, std::uint8_t command) const {
  TAnswer<std::string> answer;
  try {
    TCom<IWbemServices> services;
    TCom<IEnumWbemClassObject> found;
    TCom<IWbemClassObject> controller;
    Connect(kDriverSpace, services);
    Select(services, kControllerClass, found);
    if (Next(found, controller)) answer.value = Send(services, controller, function, command);
  } catch (const TError& error) {
    answer.problem = error.what();
  }
  return answer;
}

}  // namespace svc::collect
