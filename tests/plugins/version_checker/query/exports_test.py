"""The dynamic symbols that the plug-in library defines are exactly those it is to offer, and it
links to the host, the language and the system only."""

import argparse
import os
import re
import subprocess
import sys

# Mangled, since a constructor has two symbols of one name: of complete objects and of bases.
EXPECTED = {
    "LibraryEntry",
    "_ZN9NQRXHSK2010TXmlParserC1ERKS0_",  # TXmlParser(const TXmlParser&)
    "_ZN9NQRXHSK2010TXmlParserC2ERKS0_",
    "_ZN9NQRXHSK2010TXmlParseraSERKS0_",  # TXmlParser::operator=
    "_ZN9NQRXHSK2013TCIMXMLParserC1ERKS0_",  # TCIMXMLParser(const TCIMXMLParser&)
    "_ZN9NQRXHSK2013TCIMXMLParserC2ERKS0_",
    "_ZN9NQRXHSK2013TCIMXMLParseraSERKS0_",  # TCIMXMLParser::operator=
    "_ZN9NQRXHSK2013TCIMXMLParser29kMaxSpecificationDocumentSizeE",
    "_ZTVN9NQRXHSK2010TXmlParserE",  # The virtual tables.
    "_ZTVN9NQRXHSK2013TCIMXMLParserE",
}


HOST = {f"lib{name}.so" for name in ("hskcore", "plugin.nsp", "xmlparser", "acquire")}
# Of the C++ language and the C library, and what a sanitizer adds.
USUAL = re.compile(r"(lib(stdc\+\+|gcc_s|c|m|asan|ubsan|tsan)|ld-linux[\w-]*)\.so\.\d+")


def needed(library):
    """The libraries that the dynamic linker loads for this one."""
    lines = subprocess.run(["readelf", "--dynamic", "--wide", library], check=True,
                           capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"}).stdout
    return set(re.findall(r"\(NEEDED\).*\[(.+)\]", lines))


def exported(nm, library):
    """The names of the symbols that the library defines for others, with their kinds."""
    lines = subprocess.run([nm, "-D", "--defined-only", library], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    return {fields[-1]: fields[-2] for fields in (line.split() for line in lines)}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--nm", default="nm")
    parser.add_argument("library")
    arguments = parser.parse_args()
    symbols = exported(arguments.nm, arguments.library)
    problems = [f"not exported: {name}" for name in sorted(EXPECTED - symbols.keys())]
    problems += [f"exported: {name}" for name in sorted(symbols.keys() - EXPECTED)]
    # A unique symbol keeps the library in memory after its last dlclose.
    problems += [f"unique: {name}" for name, kind in sorted(symbols.items()) if kind == "u"]
    libraries = needed(arguments.library)
    problems += [f"not linked to: {name}" for name in sorted(HOST - libraries)]
    problems += [f"linked to: {name}" for name in sorted(libraries - HOST)
                 if not USUAL.fullmatch(name)]
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
