// How a download reports its progress, to whoever started it.
#ifndef HOST_ACQUIRE_ACQUIRE_CALLBACK_H_
#define HOST_ACQUIRE_ACQUIRE_CALLBACK_H_

#include <cstdint>
#include <string>

#include "host/hskcore/export.h"

namespace KPLAcquistion {

// A free-form message for a person, with the item that it is about.
struct ContentNode {
  std::string item;
  std::string text;
};

// Kinds of onStatus messages. The text is a list of fields joined by ":".
enum EAcquireMessage : std::int32_t {
  kItemStarted = 0,    // item:detail
  kItemProgress = 1,   // item:detail
  kItemState = 2,      // item:detail
  kListing = 3,        // machine type:operating system
  kTotal = 4,          // machine type:operating system:number of items
  kStatus = 5,         // the code is the news
  kReport = 6,         // machine type:operating system
  kReportTotal = 7,    // machine type:operating system:number of items
  kReportItem = 8,     // item:detail
  kReportItemEnd = 9,  // item:detail
  kItemEnded = 13      // item:detail
};

// The library borrows the object for the length of one download and calls it on the thread of
// startDownload, one call at a time. The order of the operations is the order of their slots.
class HOST_INTERFACE AcquireCallbackIfc {
 public:
  // For a person. Where a callback does nothing else with it, an error becomes a line on standard
  // error, and what is none is dropped.
  ACQUIRE_API virtual void sendMessage(ContentNode node, bool isError);
  // `code` is 3 as long as the download goes on; with kStatus, the last of these, it is what
  // startDownload returns.
  virtual void onStatus(std::int32_t kind, const std::string& text, std::int32_t code) = 0;
  ACQUIRE_API virtual ~AcquireCallbackIfc();
};

}  // namespace KPLAcquistion

#endif  // HOST_ACQUIRE_ACQUIRE_CALLBACK_H_
