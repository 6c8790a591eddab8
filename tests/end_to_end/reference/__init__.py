"""The reference model: every rule of a query, stated a second time in another language.

It shares nothing with the plug-in but the files that both read. A query of the real program is
judged against it entry by entry (run_cases.py).

A text is a `str` with one character a byte: positions count bytes, letters are the ASCII ones.
`to_text` and `shown` lead from and to text as people know it.
"""


def to_text(unicode_text):
    """The text that a file or an argument means, one character a byte of its UTF-8 form."""
    return unicode_text.encode("utf-8", "surrogateescape").decode("latin-1")


def shown(text):
    """The text as a JSON file shows it: bytes that are no UTF-8 become U+FFFD."""
    return text.encode("latin-1").decode("utf-8", "replace")
