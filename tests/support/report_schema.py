"""docs/report.schema.json, which every JSON report of the program goes by."""

import json
import pathlib

import jsonschema

SOURCE = pathlib.Path(__file__).resolve().parents[2]


def closed(schema):
    """A schema that refuses the members it does not name: this version writes no others."""
    if not isinstance(schema, dict):
        return schema
    more = {"additionalProperties": False} if isinstance(schema.get("properties"), dict) else {}
    return {name: closed(part) for name, part in schema.items()} | more


SCHEMA = closed(json.loads((SOURCE / "docs" / "report.schema.json").read_text()))
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)


def read_report(text):
    """The report of a JSON text. Raises where it is none."""
    report = json.loads(text)
    VALIDATOR.validate(report)
    return report
