// What a Redfish service says of itself and its resources (DMTF DSP0266, DSP0268), read with
// patience: whatever is not there, or of another kind than it should be, counts as not said.
#ifndef COLLECT_REDFISH_SERVICE_H_
#define COLLECT_REDFISH_SERVICE_H_

#include <string>
#include <string_view>
#include <vector>

#include "collect/cim_xml.h"
#include "collect/redfish/client.h"

namespace svc::collect {

// The text of a property; empty where it is null or no text.
std::string TextOf(const TJson& resource, const char* name);
// An object or a list in it; null where there is none.
const TJson& PartOf(const TJson& resource, const char* name);
// The elements of a list in it, the first 2000 at most; none where there is none.
std::vector<TJson> ListOf(const TJson& resource, const char* name);
// Where a reference such as {"@odata.id": "/redfish/v1/Systems/1"} leads, and where a resource is;
// empty where it does not say.
std::string PlaceOf(const TJson& reference);
std::vector<std::string> PlacesOf(const TJson& resource, const char* name);
// Whether a place is that resource or a part of it; slashes at the end mean nothing.
bool IsWithin(std::string_view place, std::string_view resource);
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

}  // namespace svc::collect

#endif  // COLLECT_REDFISH_SERVICE_H_
