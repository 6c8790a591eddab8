"""What a run leaves for the next one, and the survivors that are explained."""

import json

import tree

CACHE = tree.WORK / "verdicts.json"
EXPLAINED = tree.ROOT / "tests" / "mutation" / "equivalent.txt"
DROPPED = "the compiler"  # catches what does not compile; that is no mutant
FIELDS = ("file", "line", "change", "why")
MORE_FIELDS = ("function",)  # where a line stands more than once in a file


class Cache:
    """Verdicts and reaches of earlier runs, as long as what they were made of is the same."""

    def __init__(self):
        self.data = {"verdicts": {}, "reaches": {}}
        if CACHE.is_file():
            self.data = json.loads(CACHE.read_text(encoding="utf-8"))

    def save(self):
        tree.write(CACHE, json.dumps(self.data, ensure_ascii=False, indent=0,
                                     sort_keys=True).encode())

    @staticmethod
    def key(mutant):
        return "\n".join(str(each) for each in mutant.identity)

    def verdict(self, mutant, state):
        """What was found for this mutant while its file and the tests were these; or None."""
        known = self.data["verdicts"].get(self.key(mutant))
        return known if known and known["state"] == state else None

    def survived(self, mutant, state):
        """How long the tests took that it has survived already, each of them; -1 when none has."""
        known = self.verdict(mutant, state)
        return known["longest"] if known and not known["caught_by"] else -1

    def is_dropped(self, mutant):
        return (self.verdict(mutant, compiled_state(mutant)) or {}).get("caught_by") == DROPPED

    def last_catcher(self, mutant):
        return self.data["verdicts"].get(self.key(mutant), {}).get("caught_by")

    def keep(self, mutant, state, caught_by, reaching, longest):
        self.data["verdicts"][self.key(mutant)] = {
            "state": state, "caught_by": caught_by, "reaching": reaching, "longest": longest}

    def reach(self, where, state):
        known = self.data["reaches"].get(where)
        return known["tests"] if known and known["state"] == state else None

    def keep_reach(self, where, state, tests):
        self.data["reaches"][where] = {"state": state, "tests": tests}


def tests_state(chosen):
    """Changes with every test, what tests use and which are chosen."""
    return tree.digest(chosen, *(piece for name in tree.project_files()
                               if name.startswith("tests/")
                               and not name.startswith("tests/mutation/")
                               for piece in (name, tree.content(name))))


def mutant_state(mutant, tests):
    return tree.digest(tree.content(mutant.file), tests)


def compiled_state(mutant):
    """Changes with what decides whether a mutant compiles."""
    return tree.digest(tree.content(mutant.file), *tree.MAKERS)


def parse_explained(text):
    """The blocks of equivalent.txt: what cannot be told apart, and why."""
    blocks = []
    for number, block in enumerate(text.split("\n\n"), 1):
        lines = [line for line in block.splitlines() if line.strip() and line[0] != "#"]
        if not lines:
            continue
        fields = {}
        last = None
        for line in lines:
            name, colon, value = line.partition(": ")
            if line[0] == " " and last:
                fields[last] += " " + line.strip()
            elif colon and name in FIELDS + MORE_FIELDS and name not in fields:
                last = name
                fields[name] = value.strip()
            else:
                raise tree.Failure(f"{EXPLAINED}: block {number}: {line!r}: expected "
                                   f"{', '.join(FIELDS)}, each once")
        if not set(fields) >= set(FIELDS):
            raise tree.Failure(f"{EXPLAINED}: block {number}: {lines[0]!r}: lacks "
                               f"{', '.join(each for each in FIELDS if each not in fields)}")
        blocks.append(fields)
    return blocks


class Explained:
    """Why mutants survive that nothing could catch, by file, line text and change."""

    def __init__(self, text=None):
        if text is None:
            text = EXPLAINED.read_text(encoding="utf-8") if EXPLAINED.is_file() else ""
        self.blocks = parse_explained(text)

    def of(self, mutant):
        return next((block["why"] for block in self.blocks if self.is_of(block, mutant)), None)

    @staticmethod
    def is_of(block, mutant):
        here = (block["file"], block["line"], block["change"])
        return here == mutant.identity[:3] and block.get("function") in (None, mutant.function)

    def lost(self):
        """What is explained of files that are not there."""
        return [block for block in self.blocks if not (tree.ROOT / block["file"]).is_file()]

    def stale(self, mutants):
        """What is explained of the files of these mutants and is none of them."""
        files = {mutant.file for mutant in mutants}
        return [block for block in self.blocks if block["file"] in files
                and not any(self.is_of(block, mutant) for mutant in mutants)]
