#include "plugins/public_firmware/public_firmware.h"

#include <algorithm>
#include <boost/pointer_cast.hpp>
#include <new>
#include <system_error>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/hskcore/root_object.h"
#include "host/plugin.nsp/plugin_manager.h"

using namespace NQRXHSK20;

namespace svc::publicfirmware {

constexpr const char* kCatalogueEntry = "svPath";
constexpr const char* kLive = "_live_";

// Of releases that one device cannot get. What a catalogue lists more of says nothing new.
constexpr std::size_t kMostTold = 16;

// Releases and requirements that are looked at for all devices of a machine. Real ones come to some
// thousand; without a bound many devices of the same kind would take time in proportion to their
// number and to that of the releases as well.
constexpr std::size_t kMostLookedAt = 1'000'000;
// Of the releases' texts in all records of a machine, each of which may repeat a long one.
constexpr std::size_t kMostDelivered = std::size_t{4} << 20;

static void Log(const std::string& device, const std::string& text) {
  TRootObject::GetCoreLogger().Log(kLogProgress, "Public firmware: " + device + ": " + text);
}

static void LogAnswer(const TDevice& device, const TAnswer& answer) {
  if (answer.choice) {
    Log(device.name,
        answer.choice->offered + " is offered, " + answer.choice->installed + " is installed");
  } else {
    Log(device.name, "nothing is offered");
  }
  const std::size_t told = std::min(answer.heldBack.size(), kMostTold);
  for (std::size_t i = 0; i < told; ++i) {
    Log(device.name, answer.heldBack[i].version + " is held back: " + answer.heldBack[i].why);
  }
  if (told < answer.heldBack.size()) {
    Log(device.name, std::to_string(answer.heldBack.size() - told) + " more are held back");
  }
  std::string way;
  for (const std::string& step : answer.way) way += (way.empty() ? "" : ", then ") + step;
  if (!way.empty()) Log(device.name, "the way to the highest: " + way);
}

static const char* OrderText(int order) {
  if (order == 0) return "same";
  return order < 0 ? "older" : "newer";
}

// The bytes of the release's texts in the record.
static std::size_t Deliver(const TNamespaceHandle& inventory, const TDevice& device,
                           const TChoice& choice, const TInstanceHandle& offer) {
  const CIMContext none;
  boost::shared_ptr<ICIMClass> results;
  inventory->GetClass(results, "QRXSG_SVResult", none);
  TInstanceHandle record;
  results->CreateInstance(record, none);
  const auto set = [&](std::string_view name, const std::string& text) {
    record->SetPropertyValue(name, TCIMValue(text), none);
  };
  set("Type", "Firmware");
  set("Name", device.name);
  set("InstalledVersion", choice.installed);
  set("SVVersion", choice.offered);
  // For whoever shows more than the four: how the maker counts, the installed one is so.
  set("InstalledIs", OrderText(choice.order));
  std::size_t told = choice.offered.size();
  for (const char* const name : {"Urgency", "ReleaseDate", "Description"}) {
    const std::string text = TextOf(offer, name);
    if (!text.empty()) set(name, text);
    told += text.size();
  }
  record->Commit(none);
  return told;
}

[[noreturn]] static void RefuseTooMuch() {
  throw THSKException(
      "Public firmware: the catalogue has more releases for the machine's devices, or asks and "
      "tells "
      "more of them, than any that is published",
      THSKStatusCode::kFailed);
}

static std::string CatalogueIn(const CIMContext& context) {
  const auto entry = context.find(kCatalogueEntry);
  if (entry != context.end()) return static_cast<std::string>(entry->second);
  throw THSKException("Public firmware: 'svPath' not passed via context",
                      THSKStatusCode::kMissingContextEntry);
}

TPublicFirmware::TPublicFirmware() {
  boost::static_pointer_cast<TPluginManagerNamespace>(TRootObject::GetPluginManager())
      ->RegisterPlugin(this);
}

std::string TPublicFirmware::GetName() { return "Public Firmware"; }

void TPublicFirmware::RunQuery(TNamespaceHandle inventory, void* /*reserved*/,
                               CIMContext& context) {
  const std::string folder = CatalogueIn(context);
  if (folder == kLive) return;
  const TOfferIndex& index = OffersIn(folder);
  if (index.Count() == 0) return;
  const TMachine machine = ReadMachine(inventory);
  std::size_t lookedAt = 0;
  std::size_t delivered = 0;
  for (const TDevice& device : machine.devices) {
    const std::vector<TOffer> found = index.For(device.guids);
    for (const TOffer& offer : found) lookedAt += 1 + offer.requirements.size();
    if (lookedAt > kMostLookedAt) RefuseTooMuch();
    if (found.empty()) {
      Log(device.name, "the catalogue has no release for it");
      continue;
    }
    const TAnswer answer = Choose(device, machine, found);
    LogAnswer(device, answer);
    if (!answer.choice) continue;
    delivered += Deliver(inventory, device, *answer.choice, found[answer.choice->offer].instance);
    if (delivered > kMostDelivered) RefuseTooMuch();
  }
}

// A file whose time cannot be told is read each time.
const TOfferIndex& TPublicFirmware::OffersIn(const std::string& folder) {
  const std::string file = folder + TOSSpecific::kFileSeparator + kOfferFile;
  std::error_code error;
  const TFileState now = {file, TOSSpecific::GetFileSize(file),
                          std::filesystem::last_write_time(TOSSpecific::NativePath(file), error)};
  if (!offers || error || now != read) {
    offers.reset();
    offers = std::make_unique<const TOfferIndex>(file);
    read = now;
  }
  return *offers;
}

int ProcessAttach(unsigned long reason) {
  if (reason != kReasonProcessAttach) return 1;
  return new (std::nothrow) TPublicFirmware != nullptr ? 1 : 0;
}

}  // namespace svc::publicfirmware
