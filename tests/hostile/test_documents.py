"""Documents made to hurt: taken or refused as they should be, in memory and time that follow from
their size."""

import unittest

from documents import (BEGIN, END, INSTANCE_BEGIN, INSTANCE_END, VALUE_BEGIN, VALUE_END,
                       DocumentTest, main)

MEGABYTE = 1 << 20


class HostileDocuments(DocumentTest):
    def test_a_hundred_thousand_nested_elements_are_refused(self):
        self.write(BEGIN, "<A>", 100_000)
        self.check(False)
        self.write(BEGIN + INSTANCE_BEGIN + "<QUALIFIER>", "<A>", 100_000)
        self.check(False, "256")

    def test_a_million_attributes(self):
        def make(count):
            self.write(BEGIN + INSTANCE_BEGIN + "<PROPERTY NAME='P'",
                       lambda number: f" a{number}='1'", count, "/>" + INSTANCE_END + END)
        self.check_linear(make, 250_000)

    def test_a_million_attributes_with_one_twice_are_refused(self):
        self.write(BEGIN + INSTANCE_BEGIN + "<PROPERTY NAME='P'",
                   lambda number: f" a{number}='1'", 1_000_000, " a7=''/>" + INSTANCE_END + END)
        self.check(False, "twice")

    def test_a_long_text(self):
        self.check_linear(lambda count: self.write(VALUE_BEGIN, "x" * MEGABYTE, count, VALUE_END),
                          16)

    def test_a_text_that_does_not_end_is_refused(self):
        self.write(VALUE_BEGIN, "x" * MEGABYTE, 32)
        self.check(False)

    def test_entity_bombs_are_refused(self):
        entities = '<!ENTITY a0 "ha">' + "".join(
            f'<!ENTITY a{n} "{f"&a{n - 1};" * 10}">' for n in range(1, 12))
        body = "<CIM><DECLARATION><DECLGROUP/></DECLARATION></CIM>"
        self.write(f"<!DOCTYPE CIM [{entities}]>{body}")
        self.check(False, only=[False])
        self.write('<!DOCTYPE CIM SYSTEM "file:///dev/zero" [<!ENTITY % p SYSTEM "/dev/zero"> %p;]>'
                   + body)
        self.check(False, only=[False])
        self.write(VALUE_BEGIN + "&a11;" + VALUE_END)
        self.check(False, "unknown entity")

    def test_a_bare_doctype_fetches_nothing(self):
        self.write('<?sv-catalogue version="4.02"?><!DOCTYPE CIM SYSTEM "/dev/zero">'
                   "<CIM><DECLARATION><DECLGROUP/></DECLARATION></CIM>")
        self.check(True)

    def test_references_without_end(self):
        self.check_linear(lambda count: self.write(VALUE_BEGIN, "&lt;&#x10FFFF;", count, VALUE_END),
                          300_000)

    def test_a_comment_without_end(self):
        for place in (BEGIN, VALUE_BEGIN, ""):
            self.write(place + "<!--", "- x" * 1000, 8_000)
            self.check(False)

    def test_comments_instructions_and_sections_without_number(self):
        for unit in ("<!---->", "<?p?>", "<![CDATA[]]>", "<![CDATA[]]]]>", "<!-- - -->x\r\n"):
            with self.subTest(unit):
                self.check_linear(
                    lambda count, unit=unit: self.write(VALUE_BEGIN, unit, count, VALUE_END),
                    400_000)

    def test_a_comment_of_dashes_and_a_section_of_brackets(self):
        self.write(BEGIN + "<!--", "-" * MEGABYTE, 16)
        self.check(False)
        self.check_linear(lambda count: self.write(VALUE_BEGIN + "<![CDATA[", "]" * MEGABYTE, count,
                                                   "x]]>" + VALUE_END), 8)

    def test_nul_bytes_are_refused(self):
        self.write("\0", "\0" * MEGABYTE, 32)
        self.check(False)
        for place in ("", BEGIN, VALUE_BEGIN, BEGIN + "<!--"):
            self.write(place + "\0", "x", 1000, VALUE_END)
            self.check(False)
        self.write(BEGIN + END + "\0")
        self.check(False, only=[False])

    def test_instances_without_number(self):
        self.check_linear(lambda count: self.write(BEGIN, INSTANCE_BEGIN + INSTANCE_END, count, END),
                          150_000)

    def test_names_without_number(self):
        def make(count):
            self.write(BEGIN + INSTANCE_BEGIN, lambda number: f"<PROPERTY NAME='p{number}'/>",
                       count, INSTANCE_END + END)
        self.check_linear(make, 60_000)

    def test_classes_without_number(self):
        def make(count):
            self.write(BEGIN, lambda number:
                       f"<VALUE.OBJECT><CLASS NAME='C{number}'/></VALUE.OBJECT>", count, END)
        self.check_linear(make, 50_000)

    def test_array_elements_without_number(self):
        def make(count):
            self.write(BEGIN + INSTANCE_BEGIN + "<PROPERTY.ARRAY NAME='P'><VALUE.ARRAY>",
                       "<VALUE>x</VALUE>", count,
                       "</VALUE.ARRAY></PROPERTY.ARRAY>" + INSTANCE_END + END)
        self.check_linear(make, 200_000)

    def test_blanks_without_number(self):
        for unit in (" ", "\n", "\t", "\r"):
            with self.subTest(unit):
                self.write(BEGIN, unit * MEGABYTE, 16, END)
                self.check(True)


if __name__ == "__main__":
    main()
