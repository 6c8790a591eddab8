// A service in memory of one system, and what is read of it, for tests of the server's parts.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <vector>

#include "base/error.h"
#include "collect/redfish/redfish.h"
#include "tests/support/fake_transport.h"

namespace svc::collect {

using acquire::TFakeTime;
using acquire::TFakeTransport;
using acquire::TWatch;
using TTexts = std::vector<std::string>;

// "Class Name=Value ..." in the order of the properties.
inline std::string Told(const TInstance& instance) {
  std::string text = instance.ClassName();
  for (const TProperty& property : instance.Properties()) {
    text += " " + property.name + "=" + property.value;
    for (const std::string& element : property.elements) text += "[" + element + "]";
  }
  return text;
}

inline std::string Link(const std::string& place) { return R"({"@odata.id":")" + place + "\"}"; }

inline std::string Collection(const TTexts& members) {
  std::string text;
  for (const std::string& member : members) text += (text.empty() ? "" : ",") + member;
  return R"({"Name":"Collection","Members":[)" + text + "]}";
}

// A service of one system without anything but its name, to which tests add.
class TServerTest : public ::testing::Test {
 protected:
  TServerTest() {
    ServeRoot("");
    Serve("/systems", Collection({Link("/systems/1")}));
    ServeSystem("");
    Serve("/managers", Collection({}));
    Serve("/updates", R"({"FirmwareInventory":{"@odata.id":"/firmware"}})");
    Serve("/firmware", Collection({}));
  }

  void Serve(const std::string& place, const std::string& json, int status = 200) {
    transport.Script("https://bmc" + place, {{.status = status, .body = json}});
  }
  void ServeRoot(const std::string& more) {
    Serve("/redfish/v1/", R"({"Systems":{"@odata.id":"/systems"},"Managers":{"@odata.id":)"
                          R"("/managers"},"UpdateService":{"@odata.id":"/updates"})" +
                              more + "}");
  }
  void ServeSystem(const std::string& more) {
    Serve("/systems/1", R"({"Model":"M","BiosVersion":"1.0")" + more + "}");
  }
  // The firmware inventory, one by one.
  void ServeFirmware(const TTexts& items) {
    TTexts links;
    for (const std::string& item : items) {
      const std::string place = "/firmware/" + std::to_string(links.size());
      links.push_back(Link(place));
      Serve(place, item);
    }
    Serve("/firmware", Collection(links));
  }

  // What the inventory holds behind machine and BIOS.
  TTexts Read(const std::string& id = "") {
    const TWatch watch([] { return false; }, std::chrono::seconds(600), time);
    TClient client(transport, watch, "https://bmc");
    TInventory inventory;
    TService service(client, inventory);
    service.Open();
    TServer server{service, inventory, redact};
    ReadServer(id, server);
    notes = inventory.Notes();
    TTexts told;
    for (const TInstance& instance : inventory.Instances()) told.push_back(Told(instance));
    const auto rest = told.begin() + std::min<std::ptrdiff_t>(2, std::ssize(told));
    machine = {told.begin(), rest};
    return {rest, told.end()};
  }
  std::string Failure(const std::string& id = "") {
    try {
      Read(id);
    } catch (const TError& error) {
      return error.what();
    }
    return "";
  }
  // The places that were asked for, and begin so.
  TTexts Asked(const std::string& begin) const {
    const std::string address = "https://bmc" + begin;
    TTexts places;
    for (const acquire::TRequest& request : transport.Requests())
      if (request.url.starts_with(address)) places.push_back(request.url.substr(11));
    return places;
  }

  TFakeTime time;
  TFakeTransport transport{time};
  TTexts machine;
  TTexts notes;
  bool redact = false;
};

}  // namespace svc::collect
