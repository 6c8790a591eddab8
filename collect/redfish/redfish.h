// A server as its management controller tells it by Redfish (DMTF DSP0266, DSP0268): the requests,
// the service that answers them, and the server that is read of the answers.
#pragma once

#include <chrono>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collect/cim_xml.h"
#include "collect/firmware_device.h"
#include "runtime/acquire/progress_report.h"
#include "runtime/acquire/transport.h"

namespace svc::collect {

// --- Requests: one at a time, since management controllers are small computers; each tried again
// where that may help, all within bounds ---

using TJson = nlohmann::json;

// What no service may go beyond.
struct TClientLimits {
  std::chrono::milliseconds firstPause{500};  // Before the second attempt; doubles each time.
  std::chrono::seconds longestPause{30};      // Whatever the service asks for.
  int attempts = 3;                           // For one resource.
  std::size_t resource = std::size_t{4} << 20;
  std::size_t total = std::size_t{64} << 20;
  std::size_t requests = 4000;
  std::size_t values = 250'000;  // Of JSON, in all answers; a short one takes most memory.
};

// What became of a request for a resource: its content, a JSON object, or the problem on one line.
struct TResource {
  TJson content;
  std::string problem;
  int status = 0;  // Of the answer; 0 without one.

  explicit operator bool() const { return problem.empty(); }
  bool IsRefused() const { return status == 401 || status == 403; }
};

// Borrows what it is made from. One thread.
class TClient {
 public:
  // `origin` is scheme, host and port; nothing is ever asked of another, so that no secret gets
  // there.
  TClient(acquire::ITransport& transport, const acquire::TWatch& watch, std::string origin,
          const TClientLimits& limits = {});
  // Logs out.
  ~TClient();
  TClient(const TClient&) = delete;
  TClient& operator=(const TClient&) = delete;

  // Opens a session at the path of the service's collection of sessions (DSP0266, "Redfish session
  // login authentication"). Where it opens none, or the path is empty, each request names user and
  // password instead (RFC 7617). Throws TError where they are refused.
  void LogIn(const std::string& sessions, const std::string& user, const std::string& password);

  // The resource at a path, or at an address of the same origin. Throws TError (kDownload,
  // acquire::EOutcome::kInterrupted) when it was told to stop.
  TResource Get(const std::string& place);

  // Why it asks for nothing more: a bound of the whole work is reached. Empty before that.
  const std::string& Exhausted() const { return exhausted; }
  const std::string& Origin() const { return origin; }

 private:
  struct TReply;

  std::optional<std::string> AddressOf(const std::string& place) const;
  void Start(acquire::TTransfer& transfer);
  TReply Send(acquire::TTransfer& transfer);
  TReply SendPatiently(acquire::TTransfer& transfer);
  TReply Follow(acquire::TTransfer& transfer);
  TJson Parse(std::string_view text);
  TResource Answer(const TReply& reply, const std::string& address);
  void NoteBounds();
  bool OpenSession(const std::string& address, std::string body);
  void LogOut();

  acquire::ITransport& transport;
  const acquire::TWatch& watch;
  std::string origin;
  TClientLimits limits;
  std::string secret;   // A header that says who asks; empty where nobody need to.
  std::string session;  // The address of an open one.
  std::string exhausted;
  std::size_t bytes = 0;
  std::size_t requests = 0;
  std::size_t values = 0;
};

// Scheme, host and port of the address of a service, which may name its root as well. Throws TError
// (kUsage) for what is none, for one with a user or a password in it, which everybody could read in
// the list of processes, and for one without TLS that leads off this machine.
std::string ServiceOrigin(const std::string& url);

// --- Resources, read with patience: whatever is not there, or of another kind than it should be,
// counts as not said ---

constexpr std::size_t kLongestText = 4096;   // Longer than any that a service has to tell.
constexpr std::size_t kLongestPlace = 2048;  // As far as any server is asked.
constexpr std::size_t kMaxMembers = 2000;    // Of one collection or list.

// The text of a property; empty where it is null, no text, or longer than kLongestText bytes.
std::string TextOf(const TJson& resource, const char* name);
// An object or a list in it; null where there is none.
const TJson& PartOf(const TJson& resource, const char* name);
// The elements of a list in it, the first kMaxMembers at most; none where there is none.
std::vector<TJson> ListOf(const TJson& resource, const char* name);
// Where a reference such as {"@odata.id": "/redfish/v1/Systems/1"} leads, and where a resource is;
// empty where it does not say. Of one that nobody is asked for the beginning, one byte too long.
std::string PlaceOf(const TJson& reference, const char* name = "@odata.id");
std::vector<std::string> PlacesOf(const TJson& resource, const char* name);
// Whether a place is that resource or a part of it; slashes at the end mean nothing.
bool IsWithin(std::string_view place, std::string_view resource);
std::string_view WithoutSlashes(std::string_view place);
// "1" of "/redfish/v1/Systems/1/".
std::string LastName(std::string_view place);

// A service with the notes of what it did not tell. Borrows the client and the inventory. One
// thread.
class TService {
 public:
  TService(TClient& client, TInventory& inventory) : client(client), inventory(inventory) {}

  // Reads the service's root. Throws TError where there is none, or the service refuses.
  void Open();
  const TJson& Root() const { return root; }

  // A resource; null, with a note, where it cannot be read. An empty place is null without one.
  TJson Read(const std::string& place);
  // The members of the collection to which a property of a resource leads, each read: at once where
  // the service offers that, else one by one. Those that cannot be read are noted and left out.
  std::vector<TJson> Members(const TJson& resource, const char* name);
  // The same as they are told on the collection's pages, of which `first` becomes the first:
  // references, or with `isExpanded`, where the service offers that, whole.
  std::vector<TJson> References(const std::string& place, bool isExpanded, TResource& first);

  void Note(const std::string& problem);
  TClient& Client() const { return client; }

 private:
  TResource ReadCollection(const std::string& place, bool isExpanded);

  TClient& client;
  TInventory& inventory;
  TJson root;
  std::string expand;  // The query that asks for the members as well; empty where none is known.
  bool isExhaustionNoted = false;
  std::size_t notes = 0;
};

// --- One server: the system, its firmware and its devices ---

// The source of what is found.
inline constexpr const char* kRedfish = "redfish";

// What all parts of the reading share. `told` are the resources whose firmware the inventory has.
struct TServer {
  TService& service;
  TInventory& inventory;
  bool redact = false;
  TJson system = nullptr;
  std::vector<std::string> otherSystems = {};  // Their places, without slashes at the end.
  std::vector<TJson> firmware = {};            // The members of the service's firmware inventory.

  struct TTold {
    std::string place;  // In lower case, without slashes at its end.
    std::string version;
    std::string_view words;  // By which texts name it, parted by blanks.
  };
  std::vector<TTold> told = {};
  // Each is compared with each item of the firmware inventory: no server has so many.
  void Tell(TTold one) {
    constexpr std::size_t kMaxTold = 2000;
    if (told.size() == kMaxTold) return;
    one.place = Lowered(WithoutSlashes(one.place));
    told.push_back(std::move(one));
  }
};

// Reads the server with an open service: of several systems the one that `id` names by its id or
// place, without one the first that can be read, and says so. Throws TError where there is no such
// system, or the service refuses to tell.
void ReadServer(const std::string& id, TServer& server);

// Its parts. What cannot be read is noted and left out.

// Storage controllers with their drives, network adapters, and trusted platform modules.
void ReadDevices(TServer& server);
// Everything of the firmware inventory that is not told by then, or has ids by which catalogues
// know it.
void ReadFirmwareInventory(TServer& server);

}  // namespace svc::collect
