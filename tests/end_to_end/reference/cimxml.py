"""Reads CIM-XML (DMTF DSP0201) into a namespace. Expat judges what well-formed XML is."""

import re
from xml.parsers import expat

from . import to_text
from .cim import Class, Instance, Value, fold
from .host import CLASS_NOT_FOUND, FAILED, UNSUPPORTED_DIALECT, HostError

_ENCODINGS = {"utf-8", "us-ascii", "iso-8859-1", "utf-16"}
_MAX_DEPTH = 256
_LEAST_DIALECT = (4, 2)
_INTEGER_BITS = re.compile(r"([us])int(8|16|32|64)")
_WRAPPERS = {"VALUE.OBJECT", "VALUE.NAMEDOBJECT", "VALUE.OBJECTWITHPATH",
             "VALUE.NAMEDINSTANCE", "VALUE.INSTANCEWITHPATH"}


class _RootEnded(Exception):
    """The document ends with its root element, whatever stands behind it."""


class _Node:
    def __init__(self, tag, attributes):
        self.tag = tag
        self.attributes = attributes
        self.children = []
        self.text = ""

    def find(self, *tags):
        return [child for child in self.children if child.tag in tags]


def _refuse(cause, status=FAILED):
    raise HostError(status, cause)


class _TreeReader:
    """One document as nodes; refuses what lies outside the profile."""

    def __init__(self, dialect_asked):
        self.dialect_asked = dialect_asked
        self.dialect = None
        self.root = None
        self.open = []
        self.parser = expat.ParserCreate()
        self.parser.StartElementHandler = self._start
        self.parser.EndElementHandler = self._end
        self.parser.CharacterDataHandler = self._text
        self.parser.ProcessingInstructionHandler = self._instruction
        self.parser.XmlDeclHandler = self._declaration
        self.parser.StartDoctypeDeclHandler = self._doctype
        # Behind a document type an entity may be declared where nobody looks: its text is unknown.
        self.parser.SkippedEntityHandler = lambda name, _parameter: _refuse(f"entity {name}")

    def read(self, data):
        try:
            self.parser.Parse(data, True)
        except _RootEnded:
            return self.root
        except (expat.ExpatError, LookupError, ValueError) as error:
            _refuse(str(error))
        return _refuse("no root element")

    def _declaration(self, _version, encoding, _standalone):
        if encoding and encoding.lower() not in _ENCODINGS:
            _refuse(f"encoding {encoding}")

    def _doctype(self, _name, _system, _public, has_internal_subset):
        if has_internal_subset:
            _refuse("DOCTYPE with an internal subset")

    def _instruction(self, target, data):
        if target == "sv-catalogue" and self.root is None:
            self.dialect = data

    def _start(self, tag, attributes):
        if self.root is None and self.dialect_asked:
            self._check_dialect()
        node = _Node(tag, attributes)
        if self.root is None:
            self.root = node
        else:
            self.open[-1].children.append(node)
        self.open.append(node)
        if len(self.open) > _MAX_DEPTH:
            _refuse("nested too deep")

    def _check_dialect(self):
        """Major, then minor number: 4.1 is below 4.02, 4.10 above."""
        written = re.fullmatch(r"""\s*version\s*=\s*(["'])(\d+)\.(\d+)\1\s*""", self.dialect or "")
        if not written or (int(written[2]), int(written[3])) < _LEAST_DIALECT:
            _refuse("catalogue dialect", UNSUPPORTED_DIALECT)

    def _end(self, _tag):
        self.open.pop()
        if not self.open:
            raise _RootEnded

    def _text(self, data):
        self.open[-1].text += data


def load(data, namespace, dialect_asked=False):
    """Creates the document's classes and instances, in order."""
    root = _TreeReader(dialect_asked).read(data)
    if root.tag != "CIM":
        _refuse(f"root {root.tag}")
    for wrapper in _groups(root):
        if wrapper.tag in _WRAPPERS:
            for node in wrapper.find("CLASS", "INSTANCE"):
                _create(node, namespace)
        elif wrapper.tag in ("CLASS", "INSTANCE"):
            _create(wrapper, namespace)


def _groups(root):
    for declaration in root.find("DECLARATION"):
        for group in declaration.find("DECLGROUP", "DECLGROUP.WITHNAME", "DECLGROUP.WITHPATH"):
            yield from group.children
    nodes = [root]
    for tag in ("MESSAGE", "SIMPLERSP", "IMETHODRESPONSE", "IRETURNVALUE"):
        nodes = [child for node in nodes for child in node.find(tag)]
    for node in nodes:
        yield from node.children


def _create(node, namespace):
    (_create_class if node.tag == "CLASS" else _create_instance)(node, namespace)


def _create_class(node, namespace):
    """Declaring a class again adds properties, and the superclass where it had none."""
    name = to_text(node.attributes["NAME"])
    superclass = None
    if "SUPERCLASS" in node.attributes:
        superclass = namespace.classes.get(fold(to_text(node.attributes["SUPERCLASS"])))
        if superclass is None:
            _refuse("unknown superclass")
    cim_class = namespace.classes.setdefault(fold(name), Class(name))
    if superclass is not None:
        if cim_class.superclass not in (None, superclass):
            _refuse("two superclasses")
        if cim_class in superclass.lineage():
            _refuse("a class derives from itself")
        cim_class.superclass = superclass
    for prop, value in _properties(node):
        cim_class.defaults[prop] = value


def _create_instance(node, namespace):
    cim_class = namespace.classes.get(fold(to_text(node.attributes["CLASSNAME"])))
    if cim_class is None:
        _refuse("instance of an undefined class", CLASS_NOT_FOUND)
    instance = Instance(cim_class)
    for prop, value in _properties(node):
        if prop in instance.values:
            _refuse("property written twice")
        instance.values[prop] = value
    namespace.instances.append(instance)


def _properties(node):
    for prop in node.find("PROPERTY", "PROPERTY.ARRAY", "PROPERTY.REFERENCE"):
        name = fold(to_text(prop.attributes["NAME"]))
        kind = prop.attributes.get("TYPE", "string")
        if prop.tag == "PROPERTY.ARRAY":
            arrays = prop.find("VALUE.ARRAY")
            data = [_scalar(v, kind) or "" for v in arrays[0].find("VALUE", "VALUE.NULL")] \
                if arrays else None
        else:
            values = prop.find("VALUE", "VALUE.NULL")
            data = _scalar(values[0], kind) if values else None
        yield name, Value(data, kind)


def _scalar(node, kind):
    """The text of a value in the form in which every reader sees it; None for null."""
    if node.tag == "VALUE.NULL":
        return None
    text = to_text(node.text)
    integer = _INTEGER_BITS.fullmatch(kind)
    if integer:
        return _integer(text, integer[1] == "s", int(integer[2]))
    if kind == "boolean":
        if fold(text) not in ("true", "false"):
            _refuse("no boolean")
        return text.upper()
    if kind in ("real32", "real64"):
        return _real(text)
    return text


def _integer(text, signed, bits):
    match = re.fullmatch(r"(-?)(0[xX][0-9a-fA-F]+|[0-9]+)", text)
    if not match:
        _refuse("no integer")
    number = int(match[2], 16 if match[2][:2] in ("0x", "0X") else 10)
    number = -number if match[1] else number
    least, beyond = (-(1 << (bits - 1)), 1 << (bits - 1)) if signed else (0, 1 << bits)
    if not least <= number < beyond:
        _refuse("integer out of range")
    return str(number)


def _real(text):
    """The shortest form that reads back the same; a whole number has no point."""
    try:
        number = repr(float(text))
    except ValueError:
        _refuse("no real number")
    return number[:-2] if number.endswith(".0") else number
