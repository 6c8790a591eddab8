// A Windows machine that answers what was recorded, and what an inventory makes of it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>

#include "collect/windows/windows_machine.h"

namespace svc::collect {

class TRecordedMachine : public IWindowsMachine {
 public:
  TAnswer<std::vector<TRow>> Instances(const std::string& space,
                                       const std::string& className) const override {
    const auto found = answers.find(space + ":" + className);
    if (found == answers.end()) return {{}, "invalid class (error 0x80041010)"};
    return {found->second, ""};
  }
  TAnswer<std::string> AskController(std::uint8_t, std::uint8_t) const override {
    return controller;
  }
  TAnswer<TKeys> Keys(const std::string& path) const override {
    const auto found = keys.find(path);
    return found == keys.end() ? TAnswer<TKeys>() : found->second;
  }
  TAnswer<std::vector<TDriverService>> Drivers() const override { return drivers; }
  std::string FileVersion(const std::string& path) const override {
    return path == "C:\\Windows\\system32\\drivers\\e1000.sys" ? "8.4.1.0" : "";
  }
  std::string SystemRoot() const override { return "C:\\Windows"; }

  std::map<std::string, std::vector<TRow>> answers = {
      {"root\\cimv2:Win32_BIOS",
       {{{"SMBIOSBIOSVersion", "-[D6E124AUS-1.01]-"},
         {"Manufacturer", "Arrayon"},
         {"SerialNumber", "06ABCDE"},
         {"SystemBiosMajorVersion", "1"},
         {"SystemBiosMinorVersion", "26"},
         {"ReleaseDate", "20090430000000.000000+000"}}}},
      {"root\\cimv2:Win32_ComputerSystem",
       {{{"Manufacturer", "Arrayon"},
         {"Model", "System x3550 -[794652G]-"},
         {"SystemFamily", "System x"},
         {"SystemSKUNumber", "794652G"},
         {"Name", "WEB02"},
         {"DNSHostName", "web02"}}}},
      {"root\\cimv2:Win32_BaseBoard", {{{"Manufacturer", "Boards"}, {"Product", "49Y6512"}}}},
      {"root\\cimv2:Win32_ComputerSystemProduct",
       {{{"UUID", "0F2D7C1E-9A53-11DE-8A39-001A64E0B4F2"}}}},
      {"root\\cimv2:Win32_OperatingSystem",
       {{{"Version", "6.1.7601"},
         {"OSType", "18"},
         {"BuildNumber", "7601"},
         {"OSArchitecture", "64-bit"},
         {"Caption", "Microsoft Windows Server 2008 R2 Standard "}}}},
      {"root\\WMI:MS_SM_AdapterInformationQuery", {}},
      {"root\\cimv2:Win32_DiskDrive", {}},
  };
  std::map<std::string, TAnswer<TKeys>> keys;
  TAnswer<std::string> controller;
  TAnswer<std::vector<TDriverService>> drivers;
};

class WindowsInventory : public ::testing::Test {
 protected:
  // The properties of the instances of a class.
  std::vector<TRow> Of(const std::string& className, bool redact = false) {
    inventory = ReadWindowsMachine(machine, redact);
    std::vector<TRow> rows;
    for (const TInstance& instance : inventory.Instances()) {
      if (instance.ClassName() != className) continue;
      TRow& row = rows.emplace_back();
      for (const TProperty& property : instance.Properties()) row[property.name] = property.value;
    }
    return rows;
  }
  bool IsNoted(const std::string& words) const {
    return std::any_of(inventory.Notes().begin(), inventory.Notes().end(),
                       [&](const std::string& note) { return Contains(note, words); });
  }

  TRecordedMachine machine;
  TInventory inventory;
};

}  // namespace svc::collect
