// Releases of public firmware as the instances of a catalogue. Pure functions; any thread.
#ifndef SVCHECK_IMPORTER_OFFER_TEXT_H_
#define SVCHECK_IMPORTER_OFFER_TEXT_H_

#include <string>
#include <string_view>

#include "svcheck/importer/appstream.h"

namespace svc::offers {

// The file of a catalogue's folder that holds them, beside the index of update elements.
inline constexpr const char* kOfferFile = "firmware.xml";

// What a file of offers begins with, the class SVC_FirmwareOffer among it, and what it ends with.
std::string_view FileBegin();
std::string_view FileEnd();
// One instance.
std::string InstanceText(const TComponent& component, const TRelease& release);

}  // namespace svc::offers

#endif  // SVCHECK_IMPORTER_OFFER_TEXT_H_
