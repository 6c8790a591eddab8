#include "svcheck/session/inventory_source.h"

#include <exception>
#include <utility>

#include "collect/load.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"

namespace svc {

std::string CollectInventory(const std::string& root, bool redact,
                             std::vector<std::string>& notes) {
  try {
    collect::Outcome outcome = collect::LoadCollector().Collect({Absolute(root).string(), redact});
    notes = std::move(outcome.notes);
    return std::move(outcome.document);
  } catch (const TFailure&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw TFailure(error.what());
  }
}

void CompleteInventory(TQueryRequest& request, const std::string& root,
                       std::vector<std::string>& notes) {
  if (request.inventories.empty()) request.inventoryDocument = CollectInventory(root, false, notes);
}

}  // namespace svc
