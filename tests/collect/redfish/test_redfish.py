"""`svcheck collect --redfish`: a server's inventory from its management controller."""

import json
import pathlib
import signal
import subprocess
import sys
import time
from xml.etree import ElementTree

TESTS = pathlib.Path(__file__).resolve().parents[2]
sys.path += [str(TESTS / "svcheck"), str(TESTS / "live")]
from certificates import make_certificate  # noqa: E402
from mockup_server import SESSIONS, MockupServer, Tunnel, send, status  # noqa: E402
from mockups import ROOT, blades, link, many_pages, rack_server, write  # noqa: E402
from program import PROGRAM, ProgramTest, main, usual_signals  # noqa: E402

USER = ("root", "s3cret pass")
FIRMWARE = f"{ROOT}/UpdateService/FirmwareInventory"


def instances(text, class_name):
    found = []
    for instance in ElementTree.fromstring(text).iter("INSTANCE"):
        if instance.get("CLASSNAME") == class_name:
            found.append({p.get("NAME"): p.findtext("VALUE") for p in instance.findall("PROPERTY")}
                         | {p.get("NAME"): [v.text for v in p.iter("VALUE")]
                            for p in instance.findall("PROPERTY.ARRAY")})
    return found


class RedfishTest(ProgramTest):
    def serve(self, resources=None, **more):
        tree = write(self.folder / "tree", rack_server() if resources is None else resources)
        server = MockupServer(tree, **more)
        self.addCleanup(server.stop)
        return server

    def collect(self, server, *arguments, **more):
        return self.run_program("collect", "--redfish", server.address, *arguments, **more)

    def login(self, password=USER[1] + "\n"):
        return ["--user", USER[0], "--password-file", self.write("password", password)]

    def devices(self, result):
        self.assertEqual(result.returncode, 0, result.stderr)
        return {device["Name"]: device for device in instances(result.stdout, "SVC_FirmwareDevice")}


class Inventory(RedfishTest):
    def test_a_rack_server_is_told_whole(self):
        result = self.collect(self.serve())
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(instances(result.stdout, "QRXSG_ComputerSystem"), [
            {"MachineType": "3500RX", "Manufacturer": "Contoso", "Model": "3500RX",
             "SerialNumber": "437XR1138R2", "UUID": "38947555-7742-3448-3784-823347823834",
             "Name": "web483"}])
        self.assertEqual(instances(result.stdout, "QRXSG_SystemBIOSElement"), [
            {"Name": "System BIOS", "Version": "P79 v1.45 (12/06/2017)",
             "Manufacturer": "Contoso", "ReleaseDate": "2017-12-06T12:00:00"}])
        self.assertEqual(instances(result.stdout, "QRXSG_IPMIFirmwareElement"), [
            {"Name": "Joo Janta 200", "Version": "1.45.455b66-rev4"}])
        self.assertEqual(instances(result.stdout, "QRXSG_MegaLSIFWPackageBuildFirmwareElement"), [
            {"Name": "MegaRAID 9460-8i", "Description": "MegaRAID 9460-8i",
             "Version": "51.12.0-2779"}])
        self.assertEqual(instances(result.stdout, "QRXSG_BcmDeviceFirmwareElement"), [
            {"Name": "BCM5709", "SoftwareElementID": "14e41639", "Version": "5.0.12"}])
        self.assertEqual(instances(result.stdout, "SVC_FirmwareDevice"), [
            {"Name": "12Gbs Integrated RAID", "Vendor": "Contoso", "Version": "1.0.0.7",
             "Source": "redfish"},
            {"Name": "C123", "Vendor": "Contoso", "Version": "S20A", "Identifiers": ["C123"],
             "Source": "redfish"},
            {"Name": "599TPS-T", "Vendor": "Contoso", "Version": "7.4.10", "Source": "redfish",
             "Identifiers": ["PCI\\VEN_8086&DEV_1572&SUBSYS_80860002",
                             "PCI\\VEN_8086&DEV_1572"]},
            {"Name": "TPM TPM1_2", "Version": "1.13b", "Source": "redfish"},
            {"Name": "Contoso BIOS Firmware", "Vendor": "Contoso", "Version": "P79 v1.45",
             "Identifiers": ["fee82a67-6ce2-4625-9f44-237ad2402c28"], "Source": "redfish"},
            {"Name": "Contoso Power Supply", "Vendor": "Contoso", "Version": "3.1",
             "Identifiers": ["REDFISH\\VENDOR_Contoso&SOFTWAREID_PSU-12-3"], "Source": "redfish"},
            {"Name": "CPLD", "Version": "0x0A", "Source": "redfish",
             "Identifiers": ["1624a9df-5e13-47fc-874a-df3aff143089"]}])

    def test_a_check_takes_the_inventory(self):
        result = self.collect(self.serve(), "--output", "machine.xml")
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        result = self.run_program("check", "--inventory", "machine.xml", "--catalogue",
                                  self.catalogue(), "--format", "json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn('"3500RX"', result.stdout)
        self.assertIn('"web483"', result.stdout)
        self.assertEqual(self.leftovers(), [])

    def test_redacted_inventories_name_no_machine(self):
        result = self.collect(self.serve(), "--redact")
        self.assertEqual(result.returncode, 0, result.stderr)
        for secret in ("437XR1138R2", "38947555", "2M220100SL", "1234", "web483"):
            self.assertNotIn(f">{secret}", result.stdout)
        self.assertIn("3500RX", result.stdout)

    def test_a_fleet_reads_a_line_of_it(self):
        server = self.serve()
        result = self.collect(server, "--format", "ndjson")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn(f'"machine":"{server.address.removeprefix("http://")}"', result.stdout)

    def test_every_page_is_read_and_each_once(self):
        server = self.serve(many_pages())
        devices = self.devices(self.collect(server))
        self.assertEqual(list(devices), [f"Part {i}" for i in range(23)])
        self.assertEqual(len(server.paths()), len(set(server.paths())))

    def test_pages_in_a_ring_come_to_an_end(self):
        resources = many_pages()
        resources["UpdateService/FirmwareInventory/Page20"]["Members@odata.nextLink"] = \
            FIRMWARE
        self.assertEqual(len(self.devices(self.collect(self.serve(resources)))), 23)

    def test_members_come_at_once_where_that_is_offered(self):
        for expands, least in ((False, 23), (True, 0)):
            with self.subTest(expands):
                server = self.serve(many_pages(), expands=expands)
                self.assertEqual(len(self.devices(self.collect(server))), 23)
                one_by_one = [path for path in server.paths() if f"{FIRMWARE}/F" in path]
                self.assertEqual(len(one_by_one), least)

    def test_an_offer_to_expand_that_does_not_hold_is_no_loss(self):
        resources = many_pages()
        resources[""]["ProtocolFeaturesSupported"] = {"ExpandQuery": {"NoLinks": True}}
        result = self.collect(self.serve(resources))
        self.assertEqual((len(self.devices(result)), result.stderr), (23, ""))


class SeveralSystems(RedfishTest):
    def test_the_first_is_read_and_the_others_are_named(self):
        result = self.collect(self.serve(blades()))
        self.assertEqual(result.returncode, 0)
        machine = instances(result.stdout, "QRXSG_ComputerSystem")
        self.assertEqual(machine, [{"MachineType": "Standard Blade (v1, 2U)",
                                    "Model": "Standard Blade (v1, 2U)", "SerialNumber": "SN1"}])
        self.assertEqual([m["Version"] for m in
                          instances(result.stdout, "QRXSG_IPMIFirmwareElement")], ["1.1"])
        self.assertIn("has 3 systems (Blade1, Blade2, Blade3); this is the inventory of Blade1",
                      result.stderr)
        self.assertIn("Systems/Blade1: no BIOS version; left out", result.stderr)
        self.assertEqual(result.stderr.count("\n"), 2)
        self.assertEqual(list(self.devices(result)), ["Enclosure", "One", "Both"])

    def test_one_can_be_chosen_by_id_or_place(self):
        server = self.serve(blades())
        for name in ("Blade2", f"{ROOT}/Systems/Blade2", f"{ROOT}/Systems/Blade2/"):
            with self.subTest(name):
                result = self.collect(server, "--system", name)
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                self.assertIn(">SN2<", result.stdout)
                self.assertNotIn(">SN1<", result.stdout)
                self.assertEqual(list(self.devices(result)), ["Enclosure", "Two", "Both"])
        self.assert_failed(self.collect(server, "--system", "Blade"), 1,
                           'no system "Blade"; it has: Blade1, Blade2, Blade3')

    def test_one_that_cannot_be_read_is_passed_over(self):
        server = self.serve(blades())
        server.faults[f"{ROOT}/Systems/Blade1"] = status(500)
        result = self.collect(server)
        self.assertIn(">SN2<", result.stdout)
        self.assertIn("Systems/Blade1: the server answered with status 500; left out",
                      result.stderr)


class LoggingIn(RedfishTest):
    def test_a_session_is_opened_used_and_closed(self):
        server = self.serve(user=USER)
        result = self.collect(server, *self.login())
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(server.paths("POST"), [SESSIONS])
        self.assertEqual(server.paths("DELETE"), [f"{SESSIONS}/1"])
        self.assertEqual(server.open_sessions, set())
        self.assertFalse(any("Authorization" in headers for _, _, headers in server.requests))

    def test_without_sessions_each_request_names_the_user(self):
        server = self.serve(user=USER, sessions=False)
        result = self.collect(server, *self.login())
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(server.paths("DELETE"), [])

    def test_a_session_ends_when_the_system_cannot_be_read(self):
        server = self.serve(user=USER)
        server.faults[f"{ROOT}/Systems/437XR1138R2"] = status(500)
        self.assert_failed(self.collect(server, *self.login()), 1, "437XR1138R2", "status 500")
        self.assertEqual(server.open_sessions, set())

    def test_who_is_refused_reads_it_on_one_line(self):
        for sessions in (True, False):
            server = self.serve(user=USER, sessions=sessions)
            for arguments in ([], self.login("wrong\n")):
                with self.subTest(arguments, sessions=sessions):
                    self.assert_failed(self.collect(server, *arguments), 1, "status 401",
                                       "check user and password")
        server = self.serve()
        server.faults[f"{ROOT}/Systems"] = status(403)
        self.assert_failed(self.collect(server), 1, "status 403")

    def test_a_password_shows_nowhere(self):
        server = self.serve(user=USER)
        gate = f"{ROOT}/Managers/BMC"
        server.faults[gate] = lambda handler, _: (server.ended.wait(30), send(handler, 404))
        with subprocess.Popen(
                [PROGRAM, "collect", "--redfish", server.address, *self.login()],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=self.folder,
                preexec_fn=usual_signals) as process:
            end = time.monotonic() + 30
            while gate not in server.paths() and time.monotonic() < end:
                time.sleep(0.02)
            place = pathlib.Path(f"/proc/{process.pid}")
            seen = [(place / name).read_bytes() for name in ("cmdline", "environ", "comm")]
            core = next(line.split() for line in (place / "limits").read_text().splitlines()
                        if line.startswith("Max core"))
            process.send_signal(signal.SIGINT)
            output, errors = process.communicate(timeout=30)
        self.assertEqual(core[4:6], ["1", "1"])
        self.assertNotIn(USER[1].encode(), b"".join(seen))
        self.assertNotIn(USER[1], output + errors)
        self.assertEqual(process.returncode, -signal.SIGINT)
        self.assertEqual(server.open_sessions, set())

    def test_a_password_file_holds_one_line(self):
        server = self.serve(user=USER)
        for text, words in (("", "empty"), ("\n", "empty"), ("a\nb\n", "more than one line"),
                            ("a\0b", "more than one line"), ("x" * 4097, "too long")):
            with self.subTest(text):
                result = self.collect(server, *self.login(text))
                self.assert_failed(result, 1, "--password-file", words)
        self.assertEqual(server.requests, [])
        for text in (USER[1], USER[1] + "\r\n"):
            self.assertEqual(self.collect(server, *self.login(text)).returncode, 0)
        self.assert_failed(self.collect(server, "--user", "u", "--password-file", "none"), 1, "none")


class Trust(RedfishTest):
    def test_certificates_are_verified_always(self):
        authority = make_certificate(self.folder)
        server = self.serve(certificate=self.folder, user=USER)
        result = self.collect(server, *self.login(), "--ca-file", authority)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        served = len(server.requests)
        self.assert_failed(self.collect(server, *self.login()), 1, "certificate", "--ca-file")
        (self.folder / "other").mkdir()
        other = make_certificate(self.folder / "other")
        self.assert_failed(self.collect(server, *self.login(), "--ca-file", other), 1,
                           "certificate")
        self.assertEqual(len(server.requests), served)

    def test_a_wrong_command_line_ends_with_64(self):
        address = "https://127.0.0.1:1"
        password = self.write("password", "x\n")
        for arguments, words in (
                (["--redfish", "bmc.example.com"], "no address"),
                (["--redfish", "ftp://bmc.example.com"], "no address"),
                (["--redfish", "https://"], "no address"),
                (["--redfish", "https://a b"], "no address"),
                (["--redfish", "https://host?x"], "no address"),
                (["--redfish", "http://bmc.example.com"], "without TLS"),
                (["--redfish", "http://127.0.0.1.example.com"], "without TLS"),
                (["--redfish", "https://root:pw@bmc"], "others can read"),
                (["--redfish", "https://bmc/cgi-bin"], "path"),
                (["--redfish", address, "--user", "root"], "go together"),
                (["--redfish", address, "--password-file", password], "go together"),
                (["--redfish", address, "--user", "a:b", "--password-file", password], "colon"),
                (["--redfish", address, "--root", "/srv"], "--root"),
                (["--redfish", address, "--capture", "x.tar"], "--capture"),
                (["--user", "root", "--password-file", password], "--redfish"),
                (["--system", "1"], "--redfish")):
            with self.subTest(arguments):
                self.assert_failed(self.run_program("collect", *arguments), 64, words)
        result = self.run_program("collect", "--redfish", "https://root:pw@bmc")
        self.assertNotIn("pw@", result.stderr)

    def test_secrets_go_to_no_other_place(self):
        other = self.serve()
        server = self.serve(user=USER)
        server.faults[f"{ROOT}/Managers/BMC"] = status(
            302, Location=f"{other.address}{ROOT}/Managers/BMC")
        far = rack_server()
        far["Systems/437XR1138R2"]["Storage"] = {"@odata.id": other.address + ROOT + "/Storage"}
        far["Systems/437XR1138R2"]["NetworkInterfaces"] = {"@odata.id": "//127.0.0.1/x"}
        write(self.folder / "tree", far)
        result = self.collect(server, *self.login())
        self.assertEqual(result.returncode, 0)
        self.assertEqual(other.requests, [])
        self.assertIn("Managers/BMC: the server sends on in a way that is not followed",
                      result.stderr)
        self.assertEqual(result.stderr.count("names a place that is not its own"), 2)
        self.assertEqual(result.stderr.count("\n"), 3, result.stderr)

    def test_what_goes_to_this_machine_goes_by_no_proxy(self):
        proxy, server = self.serve(), self.serve(user=USER)
        result = self.collect(server, *self.login(), env={"http_proxy": proxy.address,
                                                          "all_proxy": proxy.address})
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(proxy.requests, [])

    def test_a_proxy_that_tunnels_learns_and_says_nothing(self):
        authority = make_certificate(self.folder)
        for sessions in (True, False):
            tunnel = Tunnel()
            self.addCleanup(tunnel.stop)
            server = self.serve(certificate=self.folder, user=USER, sessions=sessions)
            result = self.collect(server, *self.login(), "--ca-file", authority,
                                  env={"https_proxy": tunnel.address})
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertEqual(server.open_sessions, set())
            self.assertEqual({head.splitlines()[0] for head in tunnel.heads},
                             {f"CONNECT {server.address.removeprefix('https://')} HTTP/1.1"})
            names = {line.split(":")[0] for head in tunnel.heads for line in head.splitlines()[1:]}
            self.assertLessEqual(names, {"Host", "User-Agent", "Proxy-Connection"})


class BadServers(RedfishTest):
    def test_of_many_problems_a_thousand_are_told(self):
        for count, lines in ((999, 999), (1000, 1000), (1500, 1000)):
            resources = rack_server()
            resources["Systems/437XR1138R2"]["Storage"] = link("Storage")
            resources["Storage"] = {"Members": [link("Storage/1")]}
            resources["Storage/1"] = {"Drives": [{"@odata.id": f"//other/{i}"}
                                                 for i in range(count)]}
            result = self.collect(self.serve(resources))
            self.assertEqual(result.returncode, 0)
            self.assertEqual(result.stderr.count("\n"), lines)
            self.assertEqual("more is left out than is told here" in result.stderr, count > 999)

    def test_what_cannot_be_read_is_a_line_and_leaves_out_only_that(self):
        server = self.serve()
        faults = {"Power": status(500), "CPLD": status(404), "BMC": lambda handler, _: send(
            handler, 200, b'{"Name": "cut'), "Empty": lambda handler, _: send(handler, 200, [])}
        for name, fault in faults.items():
            server.faults[f"{FIRMWARE}/{name}"] = fault
        result = self.collect(server)
        self.assertEqual(result.returncode, 0)
        lines = result.stderr.splitlines()
        self.assertEqual(len(lines), len(faults), result.stderr)
        for line, (name, words) in zip(lines, (("BMC", "no JSON"), ("Power", "status 500"),
                                               ("CPLD", "status 404"), ("Empty", "no JSON object"))):
            self.assertIn(f"/{name}: ", line)
            self.assertIn(words, line)
            self.assertTrue(line.startswith("svcheck: ") and line.endswith("; left out"), line)
        self.assertEqual(list(self.devices(result)),
                         ["12Gbs Integrated RAID", "C123", "599TPS-T", "TPM TPM1_2",
                          "Contoso BIOS Firmware"])

    def test_without_a_service_or_a_system_it_fails_on_one_line(self):
        empty = rack_server()
        empty["Systems"]["Members"] = []
        self.assert_failed(self.collect(self.serve(empty)), 1, "no system")
        nothing = rack_server()
        del nothing[""]["Systems"]
        self.assert_failed(self.collect(self.serve(nothing)), 1, "no system")
        (self.folder / "none").mkdir()
        server = MockupServer(self.folder / "none")
        self.addCleanup(server.stop)
        self.assert_failed(self.collect(server), 1, "status 404")
        server.faults[f"{ROOT}/"] = lambda handler, _: send(handler, 200, {"hello": 1})
        self.assert_failed(self.collect(server), 1, "no Redfish service")
        server.faults[f"{ROOT}/"] = lambda handler, _: send(handler, 200, b"<html>")
        self.assert_failed(self.collect(server), 1, "no JSON")
        server.stop()
        self.assert_failed(self.collect(server), 1, "cannot be reached")
        self.assertEqual(self.leftovers(), [])

    def test_a_server_that_is_busy_is_asked_again(self):
        server = self.serve()
        place = f"{ROOT}/Managers/BMC"
        manager = rack_server()["Managers/BMC"]
        server.faults[place] = lambda handler, count: \
            send(handler, 503, Retry_After="0") if count < 3 else send(handler, 200, manager)
        result = self.collect(server)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(server.paths().count(place), 3)

    def test_redirects_within_the_server_are_followed(self):
        server = self.serve()
        server.faults[f"{ROOT}/Systems"] = status(308, Location=f"{ROOT}/Systems/")
        server.faults[f"{ROOT}/Managers/BMC"] = status(302, Location=f"{ROOT}/Managers/BMC")
        result = self.collect(server)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1)
        self.assertIn("Managers/BMC: the server sends on", result.stderr)

    def test_texts_of_the_server_command_no_terminal(self):
        resources = rack_server()
        evil = "\x1b]0;owned\x07\u202e\n"
        resources["Systems/437XR1138R2"]["Storage"] = link(f"none{evil}")
        resources["Systems/437XR1138R2"]["Model"] = f"Model{evil}"
        server = self.serve(resources)
        result = self.collect(server)
        self.assertEqual(result.returncode, 0)
        for text in (result.stdout, result.stderr):
            self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e]")
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        machine, = instances(result.stdout, "QRXSG_ComputerSystem")
        self.assertEqual(machine["Model"], "Model\ufffd]0;owned\ufffd\u202e")
        line = self.collect(server, "--format", "ndjson").stdout
        self.assertNotRegex(line, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e]")
        self.assertEqual(json.loads(line)["inventory"], result.stdout)
        shown = self.collect(server, "--show", "machine-type").stdout
        self.assertNotRegex(shown, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e]")

    def test_answers_without_end_or_bottom_are_given_up(self):
        server = self.serve()
        server.faults[f"{FIRMWARE}/BMC"] = lambda handler, _: send(handler, 200, b" " * (5 << 20))
        server.faults[f"{FIRMWARE}/CPLD"] = lambda handler, _: send(handler, 200, b"[" * (1 << 20))
        result = self.collect(server)
        self.assertEqual(result.returncode, 0)
        self.assertIn("BMC: the answer has more than 4194304 bytes", result.stderr)
        self.assertIn("CPLD: it is nested too deeply", result.stderr)

    def test_adapters_are_found_by_the_chassis_where_the_system_names_none(self):
        resources = rack_server()
        del resources["Systems/437XR1138R2"]["NetworkInterfaces"]
        result = self.collect(self.serve(resources))
        self.assertEqual((self.devices(result)["599TPS-T"]["Version"], result.stderr),
                         ("7.4.10", ""))

    def test_odd_shapes_count_as_not_said(self):
        for value in (None, 7, "text", [], [None, 3, {}], {"@odata.id": None}, {"@odata.id": 3},
                      {"Members": 5}, [{"@odata.id": "relative"}]):
            with self.subTest(value):
                resources = rack_server()
                for name in ("Storage", "NetworkInterfaces", "Links", "TrustedModules",
                             "BiosVersion", "Manufacturer"):
                    resources["Systems/437XR1138R2"][name] = value
                resources[""]["UpdateService"] = value
                result = self.collect(self.serve(resources))
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertIn(">3500RX<", result.stdout)


if __name__ == "__main__":
    main()
