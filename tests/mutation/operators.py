"""Finds what can be changed in a C++ source: the mutants of a syntax tree that libclang made.

Only what stands in bodies of functions; not in macros, nor where the language wants a constant.
What does not compile in spite of that is dropped when it is built (see tree.py).
"""

import re

from clang.cindex import CursorKind as Kind, Index, TypeKind

from rewriting import INNER, RUN_TIME_SWITCH, SWITCH, Layer, Mutant

RELATIONS = {"<": ("<=", ">"), ">": (">=", "<"), "<=": ("<", ">"), ">=": (">", "<"),
             "==": ("!=",), "!=": ("==",)}
LOGICAL = {"&&": "||", "||": "&&"}

FUNCTIONS = (Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR,
             Kind.CONVERSION_FUNCTION, Kind.FUNCTION_TEMPLATE)
LEAVES_EARLY = (Kind.RETURN_STMT, Kind.CONTINUE_STMT, Kind.BREAK_STMT, Kind.CXX_THROW_EXPR)
ASSIGNMENTS = (Kind.COMPOUND_ASSIGNMENT_OPERATOR,)

# Which layer lies around which when two have the same range.
RANKS = ("literal", "relation", "logical", "arguments", "return", "condition", "check", "call")

VALUE = "(" + SWITCH + " ? ({}) : (" + INNER + "))"
NEGATED = "((bool)(" + INNER + ") != " + SWITCH + ")"
NEVER = "((bool)(" + INNER + ") && !" + SWITCH + ")"
ALWAYS = "((bool)(" + INNER + ") || " + SWITCH + ")"
DROPPED = "(" + SWITCH + " ? (void)0 : (void)(" + INNER + "))"


class Source:
    """One source: its bytes, and the mutants that were found in it."""

    def __init__(self, name, path, arguments, text):
        self.name = name
        self.path = path
        self.text = text
        self.found = {}
        self.function = ""
        self.is_constant = False  # whether the compiler may run the function at hand itself
        self.unit = Index.create().parse(path, arguments, [(path, text.decode())], options=1)
        self.macros = [(each.extent.start.offset, each.extent.end.offset)
                       for each in self.unit.cursor.get_children()
                       if each.kind == Kind.MACRO_INSTANTIATION and self.is_here(each)]
        self.lines = text.split(b"\n")

    def is_here(self, cursor):
        place = cursor.location.file
        return place is not None and place.name == self.path

    def of(self, cursor):
        start, end = range_of(cursor)
        return self.text[start:end].decode()

    def in_macro(self, start, end):
        """Whether the range lies in a use of a macro, or begins or ends inside of one."""
        for first, last in self.macros:
            if first <= start and end <= last or first < start < last or first < end < last:
                return True
        return False

    def add(self, operator, start, end, wrapper, change):
        """A mutant of [start, end); the change is (before, after)."""
        if start >= end or self.in_macro(start, end):
            return
        if "\n" in wrapper:  # lines must keep their numbers
            if "//" in wrapper or 'R"' in wrapper:
                return
            wrapper = wrapper.replace("\n", " ")
        if self.is_constant:
            wrapper = wrapper.replace(SWITCH, RUN_TIME_SWITCH)
        line = self.text.count(b"\n", 0, start)
        column = start - (self.text.rfind(b"\n", 0, start) + 1) + 1
        before, after = (" ".join(text.split()) for text in change)
        key = (start, end, operator, before, after)
        self.found.setdefault(key, Mutant(
            self.name, line + 1, column, operator, self.lines[line].decode().strip(), before,
            after, Layer(start, end, RANKS.index(operator.split()[0]), wrapper), self.function))

    def replace(self, operator, start, end, new):
        self.add(operator, start, end, VALUE.replace("{}", new),
                 (self.text[start:end].decode(), new))


def range_of(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


def unwrapped(cursor):
    """Without the implicit conversions around it."""
    while cursor.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR):
        children = list(cursor.get_children())
        if len(children) != 1:
            break
        cursor = children[0]
    return cursor


def operator_of(source, cursor):
    """(operator, where it begins, where it ends) of what compares or combines two operands."""
    start, end = range_of(cursor)
    children = list(cursor.get_children())
    if cursor.kind == Kind.BINARY_OPERATOR and len(children) == 2:
        first, last = range_of(children[0])[1], range_of(children[1])[0]
    elif cursor.kind == Kind.CALL_EXPR and cursor.spelling.startswith("operator"):
        names = [each for each in children if each.spelling.startswith("operator")
                 and source.of(each) in RELATIONS]
        if not names:
            return None
        first, last = range_of(names[0])
    else:
        return None
    if not start < first < last < end:
        return None
    return source.text[first:last].decode().strip(), first, last


def relation(source, cursor):
    """a < b → a <= b, a > b; a && b → a || b. Also where the operator is a function."""
    found = operator_of(source, cursor)
    if found is None:
        return
    token, first, last = found
    start, end = range_of(cursor)
    left, right = source.text[start:first].decode(), source.text[last:end].decode()
    if token in LOGICAL:
        source.replace("logical operator", start, end,
                       f"({left.rstrip()}) {LOGICAL[token]} ({right.lstrip()})")
    for other in RELATIONS.get(token, ()):
        source.replace("relation", start, end, f"{left.rstrip()} {other} {right.lstrip()}")


def integer(source, cursor):
    start, end = range_of(cursor)
    text = source.of(cursor)
    if not re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)[uUlLzZ]*", text):
        return
    digits = text.replace("'", "").rstrip("uUlLzZ")
    octal = len(digits) > 1 and digits[0] == "0" and digits[1] not in "xX"
    value = int(digits, 8 if octal else 0)
    for step in (1, -1):
        if value + step < 0:
            continue
        sign = "+" if step > 0 else "-"
        shown = hex(value + step) if digits[:2] in ("0x", "0X") else str(value + step)
        shown = oct(value + step).replace("0o", "0") if octal else shown
        source.add("literal number", start, end, VALUE.replace("{}", f"{text} {sign} 1"),
                   (text, shown))


def character(source, cursor):
    text = source.of(cursor)
    if re.fullmatch(r"'[ -&(-\[\]-~]'", text):
        new = "'x'" if text[1] == "~" else f"'{chr(ord(text[1]) + 1)}'"
        new = {"'''": "'\"'", "'\\'": "'|'"}.get(new, new)
        source.replace("literal character", *range_of(cursor), new)
    elif re.fullmatch(r"'\\.+'", text):
        source.replace("literal character", *range_of(cursor), "' '")


def string(source, cursor):
    text = source.of(cursor)
    if text.startswith('"') and text.endswith('"'):
        source.replace("literal text", *range_of(cursor), '"?"' if text == '""' else '""')


def boolean(source, cursor):
    other = {"true": "false", "false": "true"}.get(source.of(cursor))
    if other:
        source.replace("literal truth", *range_of(cursor), other)


def enumerator(source, cursor):
    """One constant of an enumeration for the next of the same."""
    target = cursor.referenced
    if cursor.kind != Kind.DECL_REF_EXPR or not target or \
            target.kind != Kind.ENUM_CONSTANT_DECL or target.semantic_parent is None:
        return
    if not target.location.file or target.location.file.name.startswith("/usr/"):
        return
    names = [each.spelling for each in target.semantic_parent.get_children()
             if each.kind == Kind.ENUM_CONSTANT_DECL]
    text = source.of(cursor)
    if len(names) > 1 and text.endswith(target.spelling):
        other = names[(names.index(target.spelling) + 1) % len(names)]
        source.replace("literal constant", *range_of(cursor),
                       text[:len(text) - len(target.spelling)] + other)


# Whose arguments have no order.
COMMUTATIVE = ("min", "max")


def arguments(source, cursor):
    """Two arguments side by side of the same type exchanged."""
    if cursor.kind != Kind.CALL_EXPR or cursor.spelling.startswith("operator"):
        return
    if cursor.spelling in COMMUTATIVE:
        return
    start, end = range_of(cursor)
    given = [each for each in cursor.get_arguments() if each and source.of(each).strip()]
    for first, second in zip(given, given[1:]):
        (a, b), (c, d) = range_of(first), range_of(second)
        if not start < a < b < c < d <= end or source.text[a:b] == source.text[c:d]:
            continue
        if bare_type(unwrapped(first)) != bare_type(unwrapped(second)):
            continue
        texts = source.text[start:a], source.text[c:d], source.text[b:c], source.text[a:b], \
            source.text[d:end]
        source.replace("arguments exchanged", start, end, b"".join(texts).decode())


def bare_type(cursor):
    return cursor.type.get_canonical().spelling.removeprefix("const ")


def returned(source, cursor):
    children = list(cursor.get_children())
    if not children or children[0].type.get_canonical().kind != TypeKind.BOOL:
        return
    if unwrapped(children[0]).kind == Kind.CXX_BOOL_LITERAL_EXPR:
        return
    start, end = range_of(children[0])
    text = source.of(children[0])
    source.add("return true", start, end, ALWAYS, (f"return {text}", "return true"))
    source.add("return false", start, end, NEVER, (f"return {text}", "return false"))


def leaves(statement):
    """Whether a branch ends what it stands in."""
    if statement.kind == Kind.COMPOUND_STMT:
        children = list(statement.get_children())
        return bool(children) and len(children) <= 2 and leaves(children[-1])
    return unwrapped(statement).kind in LEAVES_EARLY


def conditions(source, cursor):
    """Negated; and a check that returns, throws or goes on: dropped."""
    children = list(cursor.get_children())
    if cursor.kind == Kind.IF_STMT:
        if_statement(source, cursor, children)
        return
    condition = children[-1] if cursor.kind == Kind.DO_STMT else children[0]
    if condition.kind not in (Kind.VAR_DECL, Kind.DECL_STMT):
        negated(source, condition)


def negated(source, condition):
    start, end = range_of(condition)
    text = source.of(condition)
    inner = condition
    while inner.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR, Kind.UNARY_OPERATOR):
        if operator_of(source, inner) or not (children := list(inner.get_children())):
            break
        inner = children[0]
    is_equality = (operator_of(source, inner) or "")[:1] in (("==",), ("!=",))
    if is_equality or inner.kind == Kind.CXX_BOOL_LITERAL_EXPR:
        return  # the operator itself is turned round
    source.add("condition negated", start, end, NEGATED, (text, f"!({text})"))


def if_statement(source, cursor, children):
    if re.match(r"if\s+constexpr", source.of(cursor)):
        return
    declared = [each for each in children[:-2] if each.kind == Kind.VAR_DECL]
    rest = [each for each in children if each.kind not in (Kind.VAR_DECL, Kind.DECL_STMT)]
    if declared:  # if (const auto found = Find(...))
        variable = declared[0]
        start, end = range_of(variable)
        text = source.of(variable)
        name = variable.spelling
        source.add("condition negated", start, end,
                   f"{INNER}; (bool)({name}) != {SWITCH}", (text, f"!({name})"))
        return
    if len(rest) < 2:
        return
    condition = rest[0]
    negated(source, condition)
    if len(rest) == 2 and leaves(rest[1]):
        start, end = range_of(condition)
        text = source.of(condition)
        branch = " ".join(source.of(rest[1]).split())
        source.add("check dropped", start, end, NEVER, (f"if ({text}) {branch}", "nothing"))


# Calls that change how fast it is and nothing else.
FOR_SPEED = ("reserve", "shrink_to_fit")


def statement(source, cursor):
    """A call or an assignment whose result nobody takes: dropped."""
    inner = unwrapped(cursor)
    calls = inner.kind == Kind.CALL_EXPR
    if calls and inner.spelling in FOR_SPEED:
        return
    if not calls and inner.kind not in ASSIGNMENTS and not (
            inner.kind == Kind.BINARY_OPERATOR and is_assignment(source, inner)) and not (
            inner.kind == Kind.UNARY_OPERATOR and re.match(r"\+\+|--", source.of(inner))):
        return
    start, end = range_of(cursor)
    source.add("call dropped" if calls else "call (assignment) dropped", start, end, DROPPED,
               (source.of(cursor), "nothing"))


def is_assignment(source, cursor):
    return (operator_of(source, cursor) or "")[:1] == ("=",)
