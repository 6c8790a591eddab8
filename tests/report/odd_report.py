"""Saved reports that hold every oddity, and what each format has to make of a text."""

import re
import datetime

NOTICE = ("Catalogues have no code for this operating system: drivers are compared with those that are "
          "offered for any.")
VERDICTS = ("outdated", "unknown", "newer", "current")
CONTROLS = [chr(value) for value in (*range(0x20), *range(0x7F, 0xA0))]
TURNING = [chr(value) for value in (*range(0x202A, 0x202F), *range(0x2066, 0x206A))]
TEXTS = [
    "System BIOS", "", " ", "\t \n", " 1.08 (A) ", 'a, "b"', '"', '""', "a;b|c/d", "'", "a\\nb\\",
    "C:\\QRX_Support\\SV", "two\nlines", "two\r\nlines", "tab\there", "{0} {} %s %n $HOME",
    "<script>alert('x')</script>", "&amp;&lt;&#0;]]>-->", "</td></table><b>", "a|b | c=1;;;0",
    "=1+1", "+1", "-1", "@SUM(A1)", "\t=1", "\r=1", "\n=1", "'=1", " =1", "=\"a,b\"", "-[YUOO99A-1.10]-",
    "a;=1+1;", "a\t+1\tb", "a\n-1", 'a;"=1+1', 'a";@b', "a;\"\"\"=1;\",=2", "\uff1d1",
    'a="b",c="d"} 1', "# HELP x", "svcheck_up 1", "grün", "版本 機種", "e\u0301\u0308", "😀", "\u05d0\u05d1 1",
    "\ufeffmark", "\u200b", "\u2028line\u2029", "\ufffd\ufffe\uffff", "\U0010ffff", "Other types", "waived",
    "W" * 700, "long " * 130, *(f"x{c}y" for c in CONTROLS), *(f"{c}" for c in CONTROLS),
    *(f"{c}gpj" for c in TURNING), "".join(CONTROLS + TURNING)]
REPLACED = dict.fromkeys(map(ord, CONTROLS + TURNING), "\ufffd")
LINES = {c: t for c, t in REPLACED.items() if chr(c) not in "\t\n\r"}


def plain_line(text):
    return text.translate(REPLACED)


def plain_text(text):
    return text.translate(LINES)


def xml_text(text):
    """What a parser of XML has to find: it knows no U+FFFE and no U+FFFF."""
    return plain_text(text).replace("\ufffe", "\ufffd").replace("\uffff", "\ufffd")


def page_text(text):
    return xml_text(plain_line(text))


def label(text):
    return plain_text(text).replace("\r", "\ufffd")


def csv_text(text, raw):
    text = plain_text(text)
    if raw:
        return text
    blank = "'" if text[:1] in tuple("\t\r\n") else ""
    return blank + re.sub(r'(\A|[;\t\r\n]"*)(?=[=+@\uff1d\uff0b\uff0d\uff20-])', r"\1'", text)


def trimmed(text):
    return text.strip(" \t\r\n\v\f")


def cell(text):
    return plain_line(trimmed(text)) or "-"


def record_of(index):
    texts = [TEXTS[(index * step + step - 1) % len(TEXTS)] for step in (1, 7, 11, 13)]
    record = dict(zip(("Type", "Name", "InstalledVersion", "SVVersion"), texts))
    record["verdict"] = VERDICTS[index % 4]
    reason = TEXTS[(index * 17 + 5) % len(TEXTS)]
    if index % 5 == 1:
        record["waived"] = {"reason": reason}
    if index % 5 == 2:
        record["waived"] = {"reason": reason, "expires": "2027-12-31"}
    if index % 5 == 3:
        record["expiredWaiver"] = {"reason": reason, "expires": "2026-12-31"}
    if index % 35 == 2:
        record["expiredWaiver"] = {"reason": "earlier " + reason, "expires": "2025-01-01"}
    if index % 3:
        record["update"] = {"name": TEXTS[(index * 19 + 3) % len(TEXTS)],
                            "package": TEXTS[(index * 23 + 9) % len(TEXTS)] or None if index % 3 == 1
                            else None, "file": "index.xml", "line": index // 2 + 1}
    return record


def counts_of(records, with_waivers):
    counts = {verdict: sum(record["verdict"] == verdict and "waived" not in record
                           for record in records) for verdict in VERDICTS}
    counts["compared"] = sum(record["verdict"] != "unknown" for record in records)
    if with_waivers:
        counts["waived"] = sum("waived" in record for record in records)
        counts["expiredWaivers"] = sum("expiredWaiver" in record for record in records)
    return counts


FAILURES = ("no-catalogue", "failed")


def state_of(records, errors, outcome):
    """State and reason, as the program finds them."""
    if outcome in FAILURES:
        sentence = "There is no catalogue at that place." if outcome == "no-catalogue" else "The check failed."
        return {"state": "failed",
                "stateReason": errors[0] if errors and outcome == "failed" else sentence}
    if any(record["verdict"] == "outdated" and "waived" not in record for record in records):
        return {"state": "updates"}
    if any(record["verdict"] != "unknown" for record in records):
        return {"state": "current"}
    return {"state": "nothing-compared", "stateReason": "because of <this> & that"}


def report(records=(), errors=(), outcome="done", with_waivers=False, **more):
    return {
        "schema": 1,
        "tool": {"name": "svcheck <b>", "version": "1.0\x9b", "plugin": {"name": '"P"', "version": "\x7f"}},
        "generated": "2027-06-30T00:00:00Z",
        "machine": {"type": "46\x9b38\u202e", "manufacturer": "Q&X", "model": 'R "x" <7>\x1b[2J',
                    "serialNumber": "=06C", "host": "we\x9bb"},
        "operatingSystem": {"caption": "Some | Linux\x07", "version": "2.6\t18", "platform": "x86_64"},
        "osKnown": None,
        "catalogue": {"source": "folder", "path": "/srv/\x1b]0;x\x07", "elements": 17,
                      "modified": "2027-06-27T00:00:00Z"},
        "outcome": outcome, **state_of(records, errors, outcome), **more, "notices": [],
        "records": list(records), "notCompared": [],
        "summary": counts_of(records, with_waivers), "errors": list(errors)}


def waived_report():
    return report([record_of(index) for index in range(4 * len(TEXTS))], TEXTS[4:8], with_waivers=True,
                  timings={"inventory": 0.25, 'the "other" \x9b': 1.5})


def plain_report():
    """Every verdict, and no waiver anywhere."""
    return report([{name: value for name, value in record_of(index).items()
                    if name not in ("waived", "expiredWaiver")} for index in range(len(TEXTS))])


def covered_report():
    """A system without a code, and pieces that were not compared."""
    why = ("no-version", "not-offered", "other-machine", "other-system", "not-running")
    pieces = [{"type": "Driver", "name": text, "version": text or None, "reason": why[index % 5]}
              for index, text in enumerate(TEXTS)]
    found = report([record_of(0)], notices=[NOTICE])
    found |= {"osKnown": False, "installed": len(TEXTS) + 7, "notCompared": pieces, "notices": [NOTICE]}
    order = list(found)
    order.remove("installed")
    order.insert(order.index("notCompared"), "installed")
    return {name: found[name] for name in order}


WHY = {"no-version": "states no version", "not-offered": "is offered nowhere",
       "other-machine": "is offered for other machines", "other-system": "is offered for other systems",
       "not-running": "does not run"}


def piece_rows(expected):
    """What the page has to tell of the pieces that were not compared, below its titles."""
    return [["Name", "Type", "Installed", "Why not"], *(
        [page_text(piece["name"]), page_text(piece["type"]), page_text(piece["version"] or "") or "–",
         WHY[piece["reason"]]] for piece in expected["notCompared"])] if expected["notCompared"] else []


def failed_report():
    failed = report((), TEXTS[::-1], "no-catalogue")
    failed["catalogue"] |= {"elements": None}
    del failed["catalogue"]["modified"]
    return failed


def empty_report(outcome="done"):
    return report(outcome=outcome)


def sentence(counts):
    parts = [f"{counts[name]} {name}" for name in (*VERDICTS, "waived") if counts.get(name)]
    expired = counts.get("expiredWaivers", 0)
    return ", ".join(parts) + (f"; {expired} waiver{' has' if expired == 1 else 's have'} expired"
                               if expired else "")


def seconds(time):
    return int(datetime.datetime.fromisoformat(time).timestamp())
