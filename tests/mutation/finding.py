"""Walks through the functions of a source and gives each place to the operators that apply to it."""

import dataclasses
import re

from clang.cindex import CursorKind as Kind, Diagnostic

import operators
from operators import FUNCTIONS, Source, range_of

LITERALS = {Kind.INTEGER_LITERAL: operators.integer,
            Kind.CHARACTER_LITERAL: operators.character,
            Kind.STRING_LITERAL: operators.string,
            Kind.CXX_BOOL_LITERAL_EXPR: operators.boolean}
CONDITIONAL = (Kind.IF_STMT, Kind.WHILE_STMT, Kind.DO_STMT, Kind.CONDITIONAL_OPERATOR)
LOOPS = (Kind.WHILE_STMT, Kind.FOR_STMT, Kind.CXX_FOR_RANGE_STMT, Kind.CASE_STMT)
# What a template is given stands below a name.
NAMES = (Kind.DECL_REF_EXPR, Kind.MEMBER_REF_EXPR, Kind.TYPE_REF, Kind.TEMPLATE_REF)


def find(name, path, arguments, text):
    """All mutants of one source, in the order of the text; ValueError when it cannot be read."""
    source = Source(name, path, arguments, text)
    for problem in source.unit.diagnostics:
        if problem.severity == Diagnostic.Fatal:
            raise ValueError(f"{problem.location.file}:{problem.location.line}: {problem.spelling}")
    for cursor in source.unit.cursor.get_children():
        if source.is_here(cursor):
            declarations(source, cursor)
    mutants = sorted(source.found.values(),
                     key=lambda each: (each.line, each.column, each.layer.rank, each.change))
    seen = {}
    result = []
    for mutant in mutants:
        count = seen[mutant.identity] = seen.get(mutant.identity, -1) + 1
        result.append(dataclasses.replace(mutant, occurrence=count))
    return result


def declarations(source, cursor):
    if cursor.kind in FUNCTIONS:
        words = head(source, cursor)
        if cursor.is_definition() and b"consteval" not in words:
            source.function = cursor.spelling
            source.is_constant = b"constexpr" in words
            for child in cursor.get_children():
                if child.kind != Kind.PARM_DECL:
                    walk(source, child, cursor)
    elif cursor.kind in (Kind.NAMESPACE, Kind.CLASS_DECL, Kind.STRUCT_DECL, Kind.LINKAGE_SPEC,
                         Kind.UNEXPOSED_DECL, Kind.CLASS_TEMPLATE):
        for child in cursor.get_children():
            declarations(source, child)


def head(source, cursor):
    """The words of a declaration before its body or value."""
    start, end = range_of(cursor)
    return re.findall(rb"\w+", re.split(rb"[{=]", source.text[start:end], maxsplit=1)[0])


def walk(source, cursor, parent):
    kind = cursor.kind
    if kind == Kind.STATIC_ASSERT or kind == Kind.VAR_DECL and b"constexpr" in head(source, cursor):
        return
    if kind == Kind.DECL_STMT and re.match(r"(static\s+)?constexpr\b", source.of(cursor)):
        return
    apply(source, cursor, parent)
    children = list(cursor.get_children())
    first = first_statement(cursor, children)
    for index, child in enumerate(children):
        if goes_into(source, child, index, cursor):
            if index >= first:
                operators.statement(source, child)
            walk(source, child, cursor)


def first_statement(cursor, children):
    """From which child on there are statements whose result nobody takes."""
    if cursor.kind == Kind.IF_STMT:
        declared = [each.kind in (Kind.VAR_DECL, Kind.DECL_STMT) for each in children]
        return declared.index(False) + 1
    if cursor.kind in LOOPS:
        return len(children) - 1
    return 0 if cursor.kind in (Kind.COMPOUND_STMT, Kind.DEFAULT_STMT) else len(children)


def goes_into(source, child, index, cursor):
    """Not where the language wants a constant, nor into what the compiler made itself."""
    if cursor.kind == Kind.CASE_STMT and index == 0:
        return False
    if cursor.kind == Kind.CXX_FOR_RANGE_STMT and child.kind in (Kind.VAR_DECL, Kind.DECL_STMT):
        return False
    if cursor.kind == Kind.IF_STMT and index > 0 and child.kind != Kind.COMPOUND_STMT and \
            range_of(child)[1] < range_of(list(cursor.get_children())[index - 1])[1]:
        return False  # the conversion to bool of what the condition declares
    if cursor.kind == Kind.LAMBDA_EXPR and child.kind != Kind.COMPOUND_STMT:
        return False
    if "format_string" in child.type.spelling:
        return False
    if cursor.kind in NAMES and child.kind == Kind.INTEGER_LITERAL:
        return False
    start, end = range_of(child)
    if cursor.kind == Kind.VAR_DECL:
        is_type = start < cursor.location.offset
        is_bound = source.text[:start].rstrip().endswith(b"[")
        return not is_type and not is_bound
    return True


def apply(source, cursor, parent):
    if not source.is_here(cursor):
        return
    kind = cursor.kind
    if kind in (Kind.BINARY_OPERATOR, Kind.CALL_EXPR):
        operators.relation(source, cursor)
    if kind == Kind.CALL_EXPR and parent.kind not in (Kind.VAR_DECL, Kind.CONSTRUCTOR):
        operators.arguments(source, cursor)
    if kind in LITERALS:
        LITERALS[kind](source, cursor)
    if kind == Kind.DECL_REF_EXPR:
        operators.enumerator(source, cursor)
    if kind == Kind.RETURN_STMT:
        operators.returned(source, cursor)
    if kind in CONDITIONAL:
        operators.conditions(source, cursor)
