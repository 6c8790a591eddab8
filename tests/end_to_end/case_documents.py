"""Writes CIM-XML documents in all the forms that mean the same, and in forms that mean nothing."""

from dataclasses import dataclass, field

DIALECT = '<?sv-catalogue version="4.02"?>'
LISTS = ("VALUE.OBJECT", "VALUE.NAMEDOBJECT", "VALUE.OBJECTWITHPATH")
ENCODINGS = ("utf-8", "utf-8", "utf-8", "utf-8-sig", "iso-8859-1", "us-ascii", "utf-16")


@dataclass
class Prop:
    """`data`: None is null, a str a scalar, a list an array whose None elements are null."""
    name: str
    data: object
    kind: str = "string"


@dataclass
class Item:
    """A class declaration (with a superclass or None) or an instance."""
    tag: str
    name: str
    props: list = field(default_factory=list)
    superclass: str = None


class Writer:
    def __init__(self, rng):
        self.rng = rng
        self.encoding = rng.choice(ENCODINGS)
        self.end_of_line = rng.choice(("\n", "\n", "\r\n"))
        self.response = rng.random() < 0.15
        self.list_tag = rng.choice(LISTS)
        self.group = rng.choice(("DECLGROUP", "DECLGROUP", "DECLGROUP.WITHNAME",
                                 "DECLGROUP.WITHPATH"))

    def document(self, items, instructions="", before_end=""):
        """The bytes of a whole document. `instructions` stands before the root element."""
        body = "\n".join(self._item(item) for item in items) + before_end
        if self.response:
            inner = ('<MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLERSP><IMETHODRESPONSE NAME="X">'
                     f"<IRETURNVALUE>\n{body}\n</IRETURNVALUE></IMETHODRESPONSE></SIMPLERSP>"
                     "</MESSAGE>")
        else:
            inner = f"<DECLARATION>\n<{self.group}>\n{body}\n</{self.group}>\n</DECLARATION>"
        text = (f"{self._declaration()}{instructions}\n"
                f'<CIM CIMVERSION="2.0" DTDVERSION="2.0">\n{inner}\n</CIM>\n')
        return self.encode(text)

    def encode(self, text):
        """Ends of lines in markup change form; those within values are written as references."""
        text = text.replace("\n", self.end_of_line)
        return text.encode(self.encoding, "xmlcharrefreplace")

    def _declaration(self):
        name = {"utf-8-sig": "UTF-8"}.get(self.encoding, self.encoding.upper())
        if self.encoding.startswith("utf-8") and self.rng.random() < 0.3:
            return ""
        return f'<?xml version="1.0" encoding="{name}"?>\n'

    def _item(self, item):
        text = self._class(item) if item.tag == "CLASS" else self._instance(item)
        if self.rng.random() < 0.1:
            text = "<!-- 4 < 5 & -[4620]- -->" + text
        if self.response:
            return self._response_item(item, text)
        return self._list_item(item, text)

    def _list_item(self, item, text):
        path = ""
        if self.list_tag == "VALUE.NAMEDOBJECT" and item.tag == "INSTANCE":
            path = f'<INSTANCENAME CLASSNAME="{item.name}"/>'
        if self.list_tag == "VALUE.OBJECTWITHPATH":
            space = ("<NAMESPACEPATH><HOST>h</HOST><LOCALNAMESPACEPATH>"
                     '<NAMESPACE NAME="root"/></LOCALNAMESPACEPATH></NAMESPACEPATH>')
            path = (f'<CLASSPATH>{space}<CLASSNAME NAME="{item.name}"/></CLASSPATH>'
                    if item.tag == "CLASS" else
                    f'<INSTANCEPATH>{space}<INSTANCENAME CLASSNAME="{item.name}"/></INSTANCEPATH>')
        return f"<{self.list_tag}>{path}{text}</{self.list_tag}>"

    def _response_item(self, item, text):
        if item.tag == "INSTANCE" and self.rng.random() < 0.6:
            name = f'<INSTANCENAME CLASSNAME="{item.name}"/>'
            return f"<VALUE.NAMEDINSTANCE>{name}{text}</VALUE.NAMEDINSTANCE>"
        return text

    def _class(self, item):
        superclass = f' SUPERCLASS="{item.superclass}"' if item.superclass else ""
        qualifier = ""
        if self.rng.random() < 0.2:
            qualifier = ('<QUALIFIER NAME="Description" TYPE="string"><VALUE>x</VALUE></QUALIFIER>')
        method = '<METHOD NAME="Go" TYPE="uint32"/>' if self.rng.random() < 0.1 else ""
        props = "".join(self._prop(p) for p in item.props)
        return f'<CLASS NAME="{item.name}"{superclass}>{qualifier}{props}{method}</CLASS>'

    def _instance(self, item):
        props = "\n".join(self._prop(p) for p in item.props)
        return f'<INSTANCE CLASSNAME="{item.name}">{props}</INSTANCE>'

    def _prop(self, prop):
        kind = "" if prop.kind == "string" and self.rng.random() < 0.2 else f' TYPE="{prop.kind}"'
        tag = "PROPERTY.ARRAY" if isinstance(prop.data, list) else "PROPERTY"
        if prop.data is None and self.rng.random() < 0.2:
            tag = "PROPERTY.ARRAY"
        return f'<{tag} NAME="{prop.name}"{kind}>{self._value(prop.data, tag)}</{tag}>'

    def _value(self, data, tag):
        if isinstance(data, list):
            inner = "".join(self._scalar(element) for element in data)
            return f"<VALUE.ARRAY>{inner}</VALUE.ARRAY>"
        if data is None:
            return "<VALUE.NULL/>" if tag == "PROPERTY" and self.rng.random() < 0.3 else ""
        return self._scalar(data)

    def _scalar(self, text):
        if text is None:
            return "<VALUE.NULL/>"
        if text == "" and self.rng.random() < 0.5:
            return "<VALUE/>"
        return f"<VALUE>{self._text(text)}</VALUE>"

    def _text(self, text):
        """A comment, a CDATA section and references may stand within a value."""
        roll = self.rng.random()
        plain = text.isascii() and "\n" not in text and "\r" not in text
        if roll < 0.08 and plain and "]]>" not in text:
            return f"<![CDATA[{text}]]>"
        if roll < 0.14 and text:
            cut = self.rng.randrange(len(text))
            return (escape(text[:cut]) + f"&#{ord(text[cut])};<!-- - -->"
                    + escape(text[cut + 1:]))
        return escape(text)


def escape(text):
    for char, reference in (("&", "&amp;"), ("<", "&lt;"), (">", "&gt;"), ("\r", "&#13;"),
                            ("\n", "&#xA;")):
        text = text.replace(char, reference)
    return text


def deep(depth):
    """A class with elements nested below its method, which readers pass over."""
    return ('<VALUE.OBJECT><CLASS NAME="Deep">' + '<METHOD NAME="a">' * depth
            + "</METHOD>" * depth + "</CLASS></VALUE.OBJECT>")


def damaged(rng, data):
    """A document that must be refused, whatever is done with it afterwards."""
    choice = rng.randrange(9)
    end = data.rfind(b"</CIM>")
    if data[:2] in (b"\xff\xfe", b"\xfe\xff") or end < 0:
        return data[:len(data) // 2]
    if choice == 0:
        return data[:rng.randrange(data.find(b"<CIM") + 6, end)]
    if choice == 1:
        return data[:end] + b"</DECLARATION></CIM>"
    if choice == 2:
        return data[:end] + b"&nothing;</CIM>"
    if choice == 3:
        return data[:end] + b"<!-- \xc3( --></CIM>" if b"UTF-8" in data[:60] else data[:end]
    if choice == 4:
        return data.replace(b"<CIM ", b"<CUM ", 1).replace(b"</CIM>", b"</CUM>")
    if choice == 5:
        return data.replace(b"<CIM ", b'<!DOCTYPE CIM [<!ENTITY a "b">]><CIM ', 1)
    if choice == 6:
        return data.replace(b"<CIM ", b"<CIM X=1 ", 1)
    if choice == 7:
        return data[:end] + deep(300).encode() + b"</CIM>"
    return data[:end] + b'<A B="1" B="2"/></CIM>'
