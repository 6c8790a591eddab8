"""The texts that cases are made of: few enough to meet, odd enough to hurt."""

from reference.firmware import CHAIN

MACHINES = ("4620", "4620", "4631", "2705", "7947", "x3aB", "4é6", "46 20")

VERSIONS = ("1.10-[QKL120A]-", "QKL120A", "x]-y-[z", "-[]-", "]-[", "-[", "]-", "a-[b]-[c]-",
            "-]-[x", "1.10-[fdcp-1.10x]-", "fdcp-1.10", "-[FDCP-1.10]-", "2.0-[1.23]-",
            "2.0-[1.2]-", "1.23A-[1.23]-x]-", "", " ", "é-[ü€]-", "-[1.2é]-", "-[[]]-")

BUILDS = ("", "1.2", "1.23", "1.23A", "1.2é9", "QKL110A", "QKL1", "ABCD9", "-[1.23]-", " ")

NAMES = ("Remote Watch Adapter II", "QRX Integrated Systems Control Processor",
         "the QRX Integrated Systems Control Processor (H8)",
         "qrx integrated systems control processor", "BMC", "", "Größe", "a\nb", "tab\tx")

INSTALLED = ("1.0", "v2.1", "", "ASFIPMI", "x ASFIPMI 6", "asfipmi 1", "YUE110B", " ", "1.0 ", "é")

IDENTIFIERS = ("BCM5708", "bcm5708", "5708", "", "-#", "É5708", "a-#b", " ", "bcm5709 x")

PRODUCTS = ("SAS1064E", "LSI SAS1064E BIOS", "sas1064e", "1064e", "", "SAS", "sas ", "SASSAS 9 x",
            "LSISAS1078 x y", "sas1064e b", "Sas 1064", "ÉSAS1064e é")

MR_DESCRIPTIONS = ("QRX Arrayon-AX20i SAS Controller", "qrx arrayon-ax20I SAS", "QRX Arrayon-AX20i",
                   "The QRX ARRAYON-AX20M x", "QRX Arrayon-AX 20i x", "other", "",
                   "QRX Arrayon-AXé x", "QRX Arrayon-AX20is SAS/SATA QRX Arrayon-AX20M y")

MR_FILES = ("QRX Arrayon AX 20i SAS Controller Firmware-#7.0.1",
            "QRX Arrayon AX20i SAS Controller-#7.0.1 x", "qrx arrayon axx20i sas controller-#7",
            "QRX Arrayon AX 20i SAS Controller", "QRX Arrayon AX-#1", "QRX Arrayon AXé20i Sas-#2",
            "p-#1 QRX Arrayon AX 20m Controller -#2", "12345678901234" "20i sas-#4",
            "1234567890123é20i x-#5", "short-#1", "QRX Arrayon AX 20is x-#Controller", "",
            "no mark at all", "12345678901234 Controller-#8 ", "ARRAYON AX 20i Controller-#9",
            "12345678901234" "20I QRX Arrayon ax-#1 20i", "QRX Arrayon AX\u20ac20i x-#1")

DRIVER_NAMES = ("e1000.sys", "E1000.SYS", "e1000", "e1000x", "bnx2.ko", "a.b.sys", "A", "NaN",
                "nan", "NAN.sys", ".sys", "é.sys", "É.SYS", "x y.ko", "-", "#", "ß", "tg3.ko.xz")

DRIVER_VERSIONS = ("8.9.1.0", "1.0", "2", "", "1 2", "é", "-", "1.0-", "#1")

GAPS = (" ", " ", " ", " ", " ", " ", "", "  ", "\n", "-#", " -#", "-# ")

PATH_FOLDERS = ("\\SystemRoot\\system32\\drivers\\", "", "C:\\", "/lib/modules/", "\\", "a/b\\",
                "\\lib\\x.y\\")

STATES = ("4", "4", "4", "4", "4", "4", "4", "4", "1", "7", "4 ", " 4", "", "04", "Running", "4\n")

# (OSType, BuildID, HardwarePlatform, Version)
SYSTEMS = (
    ("36", "Red Hat Enterprise Linux Server release 5.3", "x86_64", "2.6.18"),
    ("36", "Red Hat Enterprise Linux Server release 5.3", "i686", "2.6.18"),
    ("36", "Red Hat Enterprise Linux AS release 4 (update release 5)", "x86_64", "5.2"),
    ("36", "Red Hat Enterprise Linux release 3", "ia64", "6.0"),
    ("36", "Red Hat Enterprise Linux Server release 6.4 SUSE 11", "amd64", ""),
    ("36", "Red Hat Enterprise Linux 7", "x86_64", "5.2"),
    ("36", "red hat enterprise linux release 5", "x86_64", "5.2"),
    ("36", "SUSE Linux Enterprise Server 10", "x86_64", "2.6.16"),
    ("36", "SUSE Linux Enterprise Server 11 SP1", "i586", "2.6.32"),
    ("36", "SUSE Linux Enterprise Server 10 (2.6.19)", "x86_64", ""),
    ("36", "SUSE Linux Enterprise Server 11 (10)", "64", ""),
    ("36", "SUSE LINUX Enterprise Server 9", "", "5.0"),
    ("36", "SUSE 12", "x86_64", "5.2"),
    ("36", "Debian GNU/Linux 12 (bookworm)", "x86_64", "5.2"),
    ("78", "VMware ESX 3.5", "x86_64", "5.2"),
    ("81", "VMware ESX 4", "x86_64", "3"),
    ("18", "3790", "x86_64", "5.2"),
    ("18", "2195", "x86", "5.0"),
    ("76", "6002", "x64", "6.0"),
    ("103", "7600", "x64", "6.1"),
    ("103", "9200", "x64", "6.2"),
    ("0", "", "", "5.2 "),
    ("65535", "Red Hat Enterprise Linux release 5", "64", "5.2"),
)

# What no host can take for an operating-system number.
BAD_NUMBERS = ("", "abc", "70000", "-1", "36.0", "3 6", "Linux")

OS_CODES = ("RHEL3", "RHEL4", "RHEL5", "RHEL6", "RHEL5_64", "RHEL6_64", "rhel5_64", "SLES9",
            "SLES10_64", "SLES11", "sles9", "VMWARE3", "VMWARE4", "VMware", "Linux", "linux",
            "Windows 2003", "Windows 2000", "Windows 2008", "WINDOWS 2003", "")

EXTRA_TEXTS = ("Baseboard Management Controller", "mBMC Firmware Update",
               "Integrated Control Module", "Integrated System Control", "BIOS Update",
               "BIOS Flash", "Flash BIOS", "BIOS", "Firmware", "é", "")

CLASSES = {
    "QRXSG_SystemBIOSElement": {"Name": NAMES, "Version": INSTALLED, "BuildNumber": BUILDS},
    "QRXSG_DiagnosticVPD": {"BuildNumber": BUILDS, "Version": INSTALLED},
    "QRXSG_SPROMFirmwareVPDMain": {"Name": NAMES, "BuildNumber": BUILDS, "Version": INSTALLED},
    "QRXSG_IPMIFirmwareElement": {"Name": NAMES, "Version": INSTALLED},
    "QRXSG_BcmDeviceFirmwareElement": {"Name": NAMES, "SoftwareElementID": IDENTIFIERS,
                                       "Version": INSTALLED},
    "QRXSG_MegaLSIFWPackageBuildFirmwareElement": {
        "Name": NAMES, "Description": MR_DESCRIPTIONS, "Version": INSTALLED},
    "QRXSG_LSIFirmwareElement": {"Name": NAMES, "ProductID": PRODUCTS, "Version": INSTALLED},
    "QRXSG_LSIBIOSElement": {"Name": NAMES, "ProductID": PRODUCTS, "Version": INSTALLED},
}


def any_case(rng, text):
    return rng.choice((text, text, text.upper(), text.lower(), text.swapcase()))


def driver_files(rng, names, versions):
    """Entries with blanks in most places where they belong."""
    text = ""
    for _ in range(rng.choice((0, 1, 2, 3, 4, 5))):
        mark = "-#" if rng.random() < 0.93 else rng.choice(("", "-", "#", " "))
        text += rng.choice(names) + mark + rng.choice(versions) + rng.choice(GAPS)
    return text if rng.random() < 0.4 else text.strip(" ")


def adapter_files(rng, identifiers):
    """Lists for the adapters: keys in all letters, versions in front of and behind them."""
    if rng.random() < 0.35:
        return rng.choice(MR_FILES)
    keys = [any_case(rng, text) for text in (*identifiers, "Controller", "controller", "1064e")]
    texts = [rng.choice(("fw_", "lsi ", "", "bios_")) + rng.choice(keys) + rng.choice(("", "_x"))
             for _ in range(4)]
    return driver_files(rng, texts, DRIVER_VERSIONS)


def element_texts(rng, rows):
    """Description, category and folder that meet one, several or no test of the chain."""
    texts = {"description": [], "category": [], "installDirectory": []}
    for _ in range(rng.choice((1, 1, 1, 1, 2, 0))):
        name, needle, _branch = rng.choice(rows if rng.random() < 0.8 else CHAIN)
        texts[name].append(any_case(rng, needle))
    if rng.random() < 0.4:
        texts["description"].append(any_case(rng, rng.choice(EXTRA_TEXTS)))
    if rng.random() < 0.25:
        texts["category"].append(any_case(rng, rng.choice(("BIOS", "BMC/H8", "Network"))))
    for parts in texts.values():
        rng.shuffle(parts)
    return {name: rng.choice((" ", "", " for ")).join(parts) for name, parts in texts.items()}
