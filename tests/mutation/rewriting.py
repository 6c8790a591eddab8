"""Puts mutants into a source, each behind a switch, so that one build holds all of them.

A mutant wraps ranges of the text; ranges nest as the syntax tree does. Each wrapper keeps what it
wraps as it is while its mutant is not the active one. No line is added but the first, which a #line
takes back, so that the compiler's messages have the source's own lines.
"""

import dataclasses

INNER = "\0"  # in a wrapper: what is wrapped
SWITCH = "\1"  # in a wrapper: whether the mutant is active
RUN_TIME_SWITCH = "\2"  # the same where the compiler may run the code itself


@dataclasses.dataclass(frozen=True)
class Layer:
    """A range of bytes [start, end) and what it is wrapped in. The highest rank is outermost."""
    start: int
    end: int
    rank: int
    wrapper: str


@dataclasses.dataclass(frozen=True)
class Mutant:
    """One deliberate defect: where, which operator made it, and how it reads before and after."""
    file: str
    line: int
    column: int
    operator: str
    line_text: str
    before: str
    after: str
    layer: Layer
    function: str = ""
    occurrence: int = 0  # among those with the same line text and change

    @property
    def change(self):
        return f"{self.before} → {self.after}"

    @property
    def identity(self):
        """What stays the same when other lines of the file change."""
        return (self.file, self.line_text, self.change, self.occurrence)

    def __str__(self):
        return f"{self.file}:{self.line}:{self.column}: {self.operator}: {self.change}"


def nested(layers):
    """The layers that nest, outermost first. One that crosses another is left out."""
    kept = []
    open_ends = []
    for number, layer in sorted(layers, key=lambda each: (each[1].start, -each[1].end,
                                                         -each[1].rank, each[0])):
        while open_ends and open_ends[-1] <= layer.start:
            open_ends.pop()
        if open_ends and open_ends[-1] < layer.end:
            continue
        open_ends.append(layer.end)
        kept.append((number, layer))
    return kept


def render(text, layers):
    """A source with numbered layers [(number, layer)] put in, and where: [(start, end, number)]."""
    result = bytearray()
    position = 0
    pending = []  # (end, what closes it, where it began in the result, number), innermost last
    spans = []

    def copy_until(offset):
        nonlocal position
        result.extend(text[position:offset])
        position = offset

    def close_until(offset):
        while pending and pending[-1][0] <= offset:
            end, closing, begin, number = pending.pop()
            copy_until(end)
            result.extend(closing)
            spans.append((begin, len(result), number))

    for number, layer in nested(layers):
        close_until(layer.start)
        copy_until(layer.start)
        wrapper = layer.wrapper.replace(SWITCH, f"::svc_mutant::Is({number})").replace(
            RUN_TIME_SWITCH, f"::svc_mutant::IsAtRunTime({number})")
        before, after = wrapper.split(INNER)
        pending.append((layer.end, after.encode(), len(result), number))
        result.extend(before.encode())
    close_until(len(text))
    copy_until(len(text))
    return bytes(result), spans


def mutated(text, header, numbered):
    """A source with its mutants [(number, mutant)]; without any, the source itself.

    Warnings of what they make odd in a header are those of a system's header.
    """
    if not numbered:
        return text
    body, _ = render(text, [(number, mutant.layer) for number, mutant in numbered])
    quiet = "#pragma GCC system_header\n" if numbered[0][1].file.endswith(".h") else ""
    return f'#include "{header}"\n{quiet}#line 1\n'.encode() + body


def at(text, numbered, line, column):
    """The numbers of the mutants that a place of the mutated source is about.

    The innermost one around it, otherwise those that begin in that line.
    """
    body, spans = render(text, [(number, mutant.layer) for number, mutant in numbered])
    offset = 0
    for _ in range(line - 1):
        offset = body.index(b"\n", offset) + 1
    offset += column - 1
    around = [(end - start, number) for start, end, number in spans if start <= offset < end]
    if around:
        return {min(around)[1]}
    return {number for number, mutant in numbered if mutant.line == line}
