"""The rules of CycloneDX 1.6 (ECMA-424) and SARIF 2.1.0 (OASIS) for the members that a report has: a
document with a member that they do not know, without one that they demand, or with a value that they
refuse is told of by an AssertionError that names the place."""

import re

TIME = re.compile(r"\d{4}-(0[1-9]|1[0-2])-(0[1-9]|[12]\d|3[01])T([01]\d|2[0-3]):[0-5]\d:[0-5]\d"
                  r"(\.\d+)?(Z|[+-]\d\d:\d\d)")
# RFC 3986: characters of a path, and a scheme with a path behind it.
REFERENCE = re.compile(r"([A-Za-z0-9\-._~!$&'()*+,;=:@/]|%[0-9A-Fa-f]{2})+")
ADDRESS = re.compile(rf"[a-z][a-z0-9+.-]*:{REFERENCE.pattern}")


def text(most=None):
    def check(value, place):
        assert isinstance(value, str), place
        assert most is None or len(value) <= most, place
    return check


def one_of(*values):
    def check(value, place):
        assert value in values, (place, value)
    return check


def like(pattern):
    def check(value, place):
        assert isinstance(value, str) and re.fullmatch(pattern, value), (place, value)
    return check


def number(least):
    def check(value, place):
        assert type(value) is int and value >= least, (place, value)
    return check


def flag(value, place):
    assert isinstance(value, bool), place


def anything(value, place):
    """A property bag."""
    assert isinstance(value, dict), place


def many(check_item, least=0):
    def check(value, place):
        assert isinstance(value, list) and len(value) >= least, place
        for index, item in enumerate(value):
            check_item(item, f"{place}[{index}]")
    return check


def named(check_item):
    def check(value, place):
        assert isinstance(value, dict), place
        for name, item in value.items():
            check_item(item, f"{place}.{name}")
    return check


def members(required, **known):
    """An object that has the required members, and no others than the known ones."""
    def check(value, place):
        assert isinstance(value, dict), place
        assert set(required.split()) <= set(value), (place, set(required.split()) - set(value))
        for name, item in value.items():
            assert name in known, f"{place}.{name}"
            known[name](item, f"{place}.{name}")
    return check


# CycloneDX: the schema bom-1.6.schema.json refuses members that it does not name.

VERSION = text(1024)
REFERRED = text()
PROPERTY = members("name", name=text(), value=text())
ENTITY = members("", name=text())
COMPONENT = members(
    "type name", **{"bom-ref": REFERRED}, name=text(), version=VERSION, manufacturer=ENTITY,
    type=one_of("application", "framework", "library", "container", "platform", "operating-system",
                "device", "device-driver", "firmware", "file", "machine-learning-model", "data",
                "cryptographic-asset"),
    properties=many(PROPERTY))
BOM = members(
    "bomFormat specVersion", **{"$schema": one_of("http://cyclonedx.org/schema/bom-1.6.schema.json")},
    bomFormat=one_of("CycloneDX"), specVersion=one_of("1.6"), version=number(1),
    serialNumber=like("urn:uuid:[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}"),
    metadata=members("", timestamp=like(TIME), component=COMPONENT,
                     tools=members("", components=many(COMPONENT))),
    components=many(COMPONENT), properties=many(PROPERTY),
    compositions=many(members("aggregate", assemblies=many(REFERRED), aggregate=one_of(
        "complete", "incomplete", "incomplete_first_party_only",
        "incomplete_first_party_proprietary_only", "incomplete_first_party_opensource_only",
        "incomplete_third_party_only", "incomplete_third_party_proprietary_only",
        "incomplete_third_party_opensource_only", "unknown", "not_specified"))))


def check_cyclonedx(document):
    BOM(document, "$")
    own = [document["metadata"]["component"], *document["components"]]
    references = [component["bom-ref"] for component in own if "bom-ref" in component]
    assert all(references) and len(set(references)) == len(references), "a reference names one part"
    for composition in document.get("compositions", []):
        assert set(composition["assemblies"]) <= set(references), "an assembly is a reference"


# SARIF: sarif-schema-2.1.0.json, and what the standard's text says beyond it.

LEVEL = one_of("none", "note", "warning", "error")
MESSAGE = members("text", text=text())
LOCATION = members(
    "", physicalLocation=members(
        "", artifactLocation=members("", uri=like(REFERENCE), uriBaseId=text()),
        region=members("", startLine=number(1))),
    logicalLocations=many(members("", name=text(), fullyQualifiedName=text(), kind=text())))
RESULT = members(
    "message", ruleId=text(), ruleIndex=number(0), message=MESSAGE, level=LEVEL, properties=anything,
    kind=one_of("notApplicable", "pass", "fail", "review", "open", "informational"),
    locations=many(LOCATION),
    suppressions=many(members("kind", kind=one_of("inSource", "external"), justification=text(),
                              status=one_of("accepted", "underReview", "rejected"),
                              properties=anything)))
RULE = members("id", id=text(), name=text(), shortDescription=MESSAGE,
               defaultConfiguration=members("", level=LEVEL))
RUN = members(
    "tool", properties=anything, results=many(RESULT),
    tool=members("driver", driver=members("name", name=text(), version=text(), rules=many(RULE))),
    originalUriBaseIds=named(members("", uri=like(ADDRESS))),
    invocations=many(members(
        "executionSuccessful", executionSuccessful=flag, endTimeUtc=like(TIME), machine=text(),
        toolExecutionNotifications=many(members(
            "message", message=MESSAGE, level=LEVEL, descriptor=members("", id=text()))))))
LOG = members(
    "version runs", **{"$schema": one_of("https://json.schemastore.org/sarif-2.1.0.json")},
    version=one_of("2.1.0"), runs=many(RUN))


def check_message(message, place):
    """Without arguments no brace is a placeholder (3.11.5), and here nothing is a link (3.11.6)."""
    assert not re.search(r"[{}]", message["text"].replace("{{", "").replace("}}", "")), place
    assert not re.search(r"(?<!\\)\]\(", message["text"]), place


def check_result(result, place, rules, bases):
    assert rules[result["ruleIndex"]]["id"] == result["ruleId"], (place, "3.27.6")
    if result["kind"] != "fail":
        assert result["level"] == "none", (place, "3.27.10")
    for location in result["locations"]:
        artifact = location.get("physicalLocation", {}).get("artifactLocation", {})
        assert artifact.get("uriBaseId") in {None, *bases}, (place, "3.14.14")
    check_message(result["message"], place)


def check_sarif(document):
    LOG(document, "$")
    for run in document["runs"]:
        rules, bases = run["tool"]["driver"]["rules"], run.get("originalUriBaseIds", {})
        names = [rule["id"] for rule in rules]
        assert len(set(names)) == len(names), "a rule's id is its own"
        assert all(base["uri"].endswith("/") for base in bases.values()), "3.14.14"
        for index, result in enumerate(run["results"]):
            check_result(result, f"results[{index}]", rules, bases)
        for invocation in run["invocations"]:
            for notification in invocation["toolExecutionNotifications"]:
                check_message(notification["message"], "notification")
        suppressed = {"suppressions" in result for result in run["results"]}
        assert len(suppressed) < 2, "either all results have suppressions or none has (3.27.23)"


def text_of_message(message):
    """What a reader shows."""
    return re.sub(r"\\\](?=\()", "]", message["text"].replace("{{", "{").replace("}}", "}"))
