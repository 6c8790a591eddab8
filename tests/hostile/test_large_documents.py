"""The largest document that is taken, and one that is larger."""

import unittest

from documents import VALUE_BEGIN, VALUE_END, DocumentTest, main

LARGEST = 524_288_000
MEGABYTE = 1 << 20


class LargeDocuments(DocumentTest):
    def write_text(self, size):
        text = size - len(VALUE_BEGIN) - len(VALUE_END)
        self.write(VALUE_BEGIN + "x" * (text % MEGABYTE), "x" * MEGABYTE, text // MEGABYTE,
                   VALUE_END)
        self.assertEqual(self.file.stat().st_size, size)

    def check_and_show(self):
        for load in self.check(True):
            print(f"{self.id()}: {load.seconds:.2f} s, peak {load.peak >> 20} MB")

    def test_a_text_of_500_megabytes(self):
        self.write_text(LARGEST)
        self.check_and_show()

    def test_500_megabytes_of_comments(self):
        comment = "<!-- a comment that says nothing -->\n"
        count = MEGABYTE // len(comment)
        self.write(VALUE_BEGIN, comment * count, LARGEST // (count * len(comment)) - 1, VALUE_END)
        self.check_and_show()

    def test_a_comment_of_500_megabytes(self):
        self.write(VALUE_BEGIN + "<!--", " " * MEGABYTE, LARGEST // MEGABYTE - 1, "-->" + VALUE_END)
        self.check_and_show()

    def test_a_larger_one_is_refused(self):
        self.write_text(LARGEST + 1)
        self.check(False, only=[False])


if __name__ == "__main__":
    main()
