"""Trees of Redfish resources in the layout of DMTF's mockups: a folder each, with index.json."""

import json

ROOT = "/redfish/v1"


def link(*parts):
    return {"@odata.id": "/".join((ROOT, *parts))}


def collection(place, *names, **more):
    """A collection of resources below it."""
    return {place: {"Name": "Collection", "Members@odata.count": len(names),
                    "Members": [link(place, name) for name in names], **more}}


def write(folder, resources):
    """`resources` by their places below the root. Returns the folder."""
    for place, resource in resources.items():
        path = "/".join(part for part in (ROOT, place) if part)
        file = folder / path.lstrip("/") / "index.json"
        file.parent.mkdir(parents=True, exist_ok=True)
        whole = {"@odata.id": path, **resource} if isinstance(resource, dict) else resource
        file.write_text(json.dumps(whole), encoding="utf-8")
    return folder


def service(**more):
    return {"": {"@odata.type": "#ServiceRoot.v1_5_0.ServiceRoot", "Id": "RootService",
                 "RedfishVersion": "1.6.0", "Systems": link("Systems"),
                 "Chassis": link("Chassis"), "Managers": link("Managers"),
                 "UpdateService": link("UpdateService"),
                 "Links": {"Sessions": link("SessionService", "Sessions")}, **more}}


def updates(*items):
    resources = {"UpdateService": {"FirmwareInventory": link("UpdateService", "FirmwareInventory")},
                 **collection("UpdateService/FirmwareInventory", *(item["Id"] for item in items))}
    return resources | {f"UpdateService/FirmwareInventory/{item['Id']}": item for item in items}


def rack_server():
    """One system with everything that is read."""
    chassis, system = "Chassis/1U", "Systems/437XR1138R2"
    return service() | collection("Systems", "437XR1138R2") | {
        system: {
            "Id": "437XR1138R2", "SystemType": "Physical", "Manufacturer": "Contoso",
            "Model": "3500RX", "SerialNumber": "437XR1138R2", "HostName": "web483",
            "BiosVersion": "P79 v1.45 (12/06/2017)",
            "UUID": "38947555-7742-3448-3784-823347823834",
            "TrustedModules": [{"FirmwareVersion": "1.13b", "InterfaceType": "TPM1_2",
                                "Status": {"State": "Enabled"}}],
            "Storage": link(system, "Storage"),
            "NetworkInterfaces": link(system, "NetworkInterfaces"),
            "Links": {"Chassis": [link("Chassis", "1U")], "ManagedBy": [link("Managers", "BMC")]}},
    } | collection(f"{system}/Storage", "1", "2") | {
        f"{system}/Storage/1": {
            "StorageControllers": [
                {**link(system, "Storage", "1#", "StorageControllers", "0"),
                 "Manufacturer": "Contoso", "Model": "12Gbs Integrated RAID",
                 "FirmwareVersion": "1.0.0.7", "SerialNumber": "2M220100SL"}],
            "Drives": [link(system, "Storage", "1", "Drives", "A"),
                       link(system, "Storage", "1", "Drives", "B")]},
        f"{system}/Storage/1/Drives/A": {
            "Manufacturer": "Contoso", "Model": "C123", "Revision": "S20A", "SerialNumber": "1234"},
        f"{system}/Storage/1/Drives/B": {"Model": "Empty", "Status": {"State": "Absent"}},
        f"{system}/Storage/2": {"Controllers": link(system, "Storage", "2", "Controllers")},
        f"{system}/Storage/2/Controllers/1": {
            "Name": "Front", "Model": "MegaRAID 9460-8i", "FirmwareVersion": "51.12.0-2779"},
    } | collection(f"{system}/Storage/2/Controllers", "1") | {
        f"{system}/NetworkInterfaces/9fa725a1": {
            "Links": {"NetworkAdapter": link(chassis, "NetworkAdapters", "A1")}},
        f"{system}/NetworkInterfaces/9fa725a2": {
            "Links": {"NetworkAdapter": link(chassis, "NetworkAdapters", "A2")}},
    } | collection(f"{system}/NetworkInterfaces", "9fa725a1", "9fa725a2") | {
        chassis: {"NetworkAdapters": link(chassis, "NetworkAdapters")},
        f"{chassis}/NetworkAdapters/A1": {
            "Manufacturer": "Contoso", "Model": "599TPS-T",
            "Controllers": [{"FirmwarePackageVersion": "7.4.10",
                             "Links": {"PCIeDevices": [link(chassis, "PCIeDevices", "NIC")]}}]},
        f"{chassis}/NetworkAdapters/A2": {
            "Manufacturer": "Broadcom", "Model": "BCM5709",
            "Controllers": [{"FirmwarePackageVersion": "5.0.12",
                             "Links": {"PCIeFunctions": [
                                 link(chassis, "PCIeDevices", "B", "PCIeFunctions", "1")]}}]},
        f"{chassis}/PCIeDevices/NIC": {
            "PCIeFunctions": link(chassis, "PCIeDevices", "NIC", "PCIeFunctions")},
        f"{chassis}/PCIeDevices/NIC/PCIeFunctions/1": {
            "VendorId": "0x8086", "DeviceId": "0x1572", "SubsystemVendorId": "0x8086",
            "SubsystemId": "0x0002"},
        f"{chassis}/PCIeDevices/B/PCIeFunctions/1": {"VendorId": "0x14E4", "DeviceId": "0x1639"},
        "Managers/BMC": {"ManagerType": "BMC", "Model": "Joo Janta 200",
                         "FirmwareVersion": "1.45.455b66-rev4"},
    } | collection(f"{chassis}/PCIeDevices/NIC/PCIeFunctions", "1") \
      | collection(f"{chassis}/NetworkAdapters", "A1", "A2") | collection("Managers", "BMC") | updates(
          {"Id": "BIOS", "Name": "Contoso BIOS Firmware", "Version": "P79 v1.45",
           "Manufacturer": "Contoso", "ReleaseDate": "2017-12-06T12:00:00",
           "SoftwareId": "FEE82A67-6CE2-4625-9F44-237AD2402C28",
           "RelatedItem": [link(system)]},
          {"Id": "BMC", "Name": "Contoso BMC Firmware", "Version": "1.45.455b66-rev4",
           "Manufacturer": "Contoso", "RelatedItem": [link("Managers", "BMC")]},
          {"Id": "Power", "Name": "Contoso Power Supply", "Version": "3.1", "Manufacturer": "Contoso",
           "SoftwareId": "PSU 12&3"},
          {"Id": "CPLD", "Name": "Software Inventory", "Version": "0x0A",
           "SoftwareId": "1624A9DF-5E13-47FC-874A-DF3AFF143089"},
          {"Id": "Empty", "Name": "Slot 3", "Version": None, "Status": {"State": "Absent"}})


def blades():
    """A chassis with several systems and one manager for each, and the odd shapes of old trees."""
    names = ("Blade1", "Blade2", "Blade3")
    resources = service(Links=None) | collection("Systems", *names) | collection("Managers", *names)
    for number, name in enumerate(names, 1):
        resources[f"Systems/{name}"] = {
            "Id": name, "Model": f"Standard Blade (v{number}, 2U)", "SerialNumber": f"SN{number}",
            "BiosVersion": None if number == 1 else f"2.{number}"}
        resources[f"Managers/{name}"] = {
            "ManagerType": "BMC", "Name": f"Manager {number}", "FirmwareVersion": f"1.{number}",
            "Links": {"ManagerForServers": [{"@odata.id": f"{ROOT}/Systems/{name}/"}]}}
    resources["Managers/Rack"] = {"ManagerType": "EnclosureManager", "Name": "Enclosure",
                                  "FirmwareVersion": "9.9"}
    resources["Managers"]["Members"].append(link("Managers", "Rack"))
    return resources | updates(
        {"Id": "B1", "Name": "One", "Version": "1", "RelatedItem": [link("Systems", "Blade1")]},
        {"Id": "B2", "Name": "Two", "Version": "2", "RelatedItem": [link("Systems", "Blade2")]},
        {"Id": "All", "Name": "Both", "Version": "3",
         "RelatedItem": [link("Systems", "Blade1"), link("Systems", "Blade2")]})


def many_pages(count=23, each=5):
    """A firmware inventory on several pages, each of which leads to the next."""
    place = "UpdateService/FirmwareInventory"
    items = [{"Id": f"F{i}", "Name": f"Part {i}", "Version": f"1.{i}"} for i in range(count)]
    resources = service() | collection("Systems", "1") | {
        "Systems/1": {"Model": "Paged", "BiosVersion": "1.0"}} | updates(*items)
    resources |= collection("Managers")
    for begin in range(0, count, each):
        page = {"Members@odata.count": count,
                "Members": [link(place, item["Id"]) for item in items[begin:begin + each]]}
        if begin + each < count:
            page["Members@odata.nextLink"] = f"{ROOT}/{place}/Page{begin + each}"
        resources[place if begin == 0 else f"{place}/Page{begin}"] = page
    return resources
