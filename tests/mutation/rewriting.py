"""Puts mutants into a source, each behind a switch, so that one build holds all of them.

A mutant wraps ranges of the text; ranges nest as the syntax tree does. Each wrapper keeps what it
wraps as it is while its mutant is not the active one. No line is added but the first, which a #line
takes back, so that the compiler's messages have the source's own lines.
"""

import dataclasses

INNER = "\0"  # in a wrapper: what is wrapped
SWITCH = "\1"  # in a wrapper: whether the mutant is active


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
    """The bytes of a source with numbered layers [(number, layer)] put in."""
    position = 0
    pieces = []
    pending = []  # (end, what closes it), innermost last

    def close_until(offset):
        nonlocal position
        while pending and pending[-1][0] <= offset:
            end, closing = pending.pop()
            pieces.append(text[position:end])
            pieces.append(closing)
            position = end

    for number, layer in nested(layers):
        close_until(layer.start)
        pieces.append(text[position:layer.start])
        position = layer.start
        wrapper = layer.wrapper.replace(SWITCH, f"::svc_mutant::Is({number})")
        before, after = wrapper.split(INNER)
        pieces.append(before.encode())
        pending.append((layer.end, after.encode()))
    close_until(len(text))
    pieces.append(text[position:])
    return b"".join(pieces)


def mutated(text, header, numbered):
    """A source with its mutants [(number, mutant)]; without any, the source itself."""
    if not numbered:
        return text
    layers = [(number, mutant.layer) for number, mutant in numbered]
    return f'#include "{header}"\n#line 1\n'.encode() + render(text, layers)
