"""Readers of the report formats that share no code with the program: each refuses what does not go
by its format, and returns what the report says."""

import re
import unicodedata
from html.parser import HTMLParser

SAMPLE = re.compile(r'([a-z_]+)(\{(?:[a-z]+="(?:[^"\\\n]|\\["\\n])*",?)*\})? (-?[0-9]+)')
LABEL = re.compile(r'([a-z]+)="((?:[^"\\\n]|\\["\\n])*)"')
NAGIOS = re.compile(r"SVCHECK (OK|WARNING|CRITICAL|UNKNOWN) - ([^|\n]*?)(?: \|((?: [a-z_]+=[0-9]+;;;0)+))?\n")


def read_metrics(text):
    """Text format 0.0.4 of Prometheus: {(name, labels): value}. Every family has a help and a type
    line before its samples, and stands at one place; no sample is there twice."""
    metrics, family, typed = {}, None, set()
    assert text.endswith("\n") and not text.endswith("\n\n")
    for line in text[:-1].split("\n"):
        if line.startswith("# HELP "):
            family = line.split(" ")[2]
            assert family not in typed and len(line.split(" ", 3)[3]) > 5, line
            continue
        if line.startswith("#"):
            assert line == f"# TYPE {family} gauge", line
            typed.add(family)
            continue
        match = SAMPLE.fullmatch(line)
        assert match and match[1] == family and family in typed, line
        labels = LABEL.findall(match[2] or "")
        assert len(dict(labels)) == len(labels), line
        key = (family, frozenset((name, re.sub(r"\\(.)", lambda m: m[1].replace("n", "\n"), value))
                                 for name, value in labels))
        assert key not in metrics, line
        metrics[key] = int(match[3])
    return metrics


def read_nagios(text):
    """State, text and performance data of one line."""
    match = NAGIOS.fullmatch(text)
    assert match, text
    return match[1], match[2], {name: int(value) for name, value in re.findall(r"(\w+)=(\d+)", match[3] or "")}


def width_of(character):
    category = unicodedata.category(character)
    if category in ("Mn", "Me", "Cf"):
        return 0
    return 2 if unicodedata.east_asian_width(character) in "WF" and category != "Cn" else 1


def cut_at(line, columns):
    """The texts between columns of a terminal. Each begins at its column, behind two blanks."""
    parts, text, place = [], "", 0
    for character in line:
        if place in columns[len(parts) + 1:] and width_of(character):
            before = text.rindex("  ") + 2 if "  " in text else 0
            assert not any(map(width_of, text[before:])) and text[:before].strip(" "), line
            assert place == columns[len(parts) + 1], line
            parts.append(text[:before])
            text = text[before:]
        text += character
        place += width_of(character)
    return [part.rstrip(" ") for part in parts] + [text]


def read_table(text):
    """The lines before the table, its rows without the titles, and the lines behind it."""
    head, titles, rows = text.split("\n")[:3], text.split("\n")[3], text.split("\n")[4:]
    columns = [match.start() for match in re.finditer(r"\w+", titles)]
    assert titles.split() in (["TYPE", "NAME", "INSTALLED", "OFFERED", "VERDICT"],
                              ["TYPE", "NAME", "INSTALLED", "OFFERED", "UPDATE", "VERDICT"])
    end = rows.index("")
    return head, [cut_at(row, columns) for row in rows[:end]], rows[end:]


class Page(HTMLParser):
    """What the page says: groups of rows, tiles, facts, messages, the rows of what was not compared
    behind what its summary says, and its other texts; and how often each element is there."""

    VOID = ("meta", "input", "rect")

    def __init__(self, text):
        super().__init__()
        self.open, self.elements, self.groups, self.tiles, self.facts = [], {}, [], {}, {}
        self.messages, self.texts, self.policy = [], {}, ""
        self.coverage, self.pieces = "", []
        self.feed(text)
        self.close()
        assert self.open == [], self.open

    def handle_starttag(self, tag, attributes):
        self.elements[tag] = self.elements.get(tag, 0) + 1
        values = dict(attributes)
        assert not any(name.startswith("on") or name == "src" for name in values), values
        if tag in self.VOID:
            self.policy += values.get("content", "") if "http-equiv" in values else ""
            return
        self.open.append((tag, values))
        if self.is_of_coverage():
            if tag == "tr":
                self.pieces.append([])
            if tag in ("th", "td"):
                self.pieces[-1].append("")
            return
        if tag == "tbody" and "data-type" in values:  # Further bodies of a group have none.
            self.groups.append({"type": values["data-type"], "head": "", "rows": []})
        if tag == "tr" and "data-verdict" in values:
            self.groups[-1]["rows"].append({"verdict": values["data-verdict"], "Type": "", "Name": "",
                                            "update": "", "place": "", "cells": [], "small": []})
        if tag == "td" and self.groups:
            self.groups[-1]["rows"][-1]["cells"].append("")
        if tag == "small" and self.is_in("td"):
            self.groups[-1]["rows"][-1]["small"].append("")
        if tag == "li":
            self.messages.append("")

    handle_startendtag = handle_starttag

    def handle_endtag(self, tag):
        if tag == "rect":
            return
        assert self.open and self.open[-1][0] == tag, (tag, self.open)
        self.open.pop()

    def is_in(self, *tags):
        names = [tag for tag, _ in self.open]
        return all(tag in names for tag in tags)

    def handle_data(self, data):
        if not self.open:
            assert data.strip() == "", data
            return
        tag, values = self.open[-1]
        if self.is_of_coverage():
            if tag in ("th", "td"):
                self.pieces[-1][-1] += data
            elif tag in ("summary", "p"):
                self.coverage += data
            else:
                assert data.strip() == "", data
            return
        row = self.groups[-1]["rows"][-1] if self.groups and self.groups[-1]["rows"] else None
        if self.is_in("tbody", "td"):
            row["small" if tag == "small" else "cells"][-1] += data
        elif self.is_in("tbody", "th") and self.is_in_record():
            row["Name" if tag != "small" else values.get("class", "Type")] += data
            if "title" in values:
                row["place"] = values["title"]
        elif self.is_in("tbody", "th"):
            self.groups[-1]["head"] += data
        elif tag in ("b", "span") and "data-verdict" in self.open[-2][1]:
            self.tiles.setdefault(self.open[-2][1]["data-verdict"], []).append(data)
        elif tag == "dt":
            self.facts[data] = ""
        elif tag == "dd":
            self.facts[list(self.facts)[-1]] += data
        elif tag == "li":
            self.messages[-1] += data
        else:
            self.texts[tag] = self.texts.get(tag, "") + data

    def is_of_coverage(self):
        return any("coverage" in values.get("class", "").split() for _, values in self.open)

    def is_in_record(self):
        return any(tag == "tr" and "data-verdict" in values for tag, values in self.open)
