#!/usr/bin/env python3
"""What the program shows on a console: Wine makes one of a terminal."""

import os
import pty
import re

from wine_test import WINE, WineTest, main


class Console(WineTest):
    def shown(self, *arguments):
        """The text without what moves and hides the cursor, and the exit status."""
        process, terminal = pty.fork()
        if process == 0:
            os.chdir(self.work)
            os.execve(WINE, [WINE, self.svcheck, *arguments], {**os.environ, "TERM": "xterm"})
        written = b""
        try:
            while block := os.read(terminal, 65536):
                written += block
        except OSError:  # The other end is closed.
            pass
        status = os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])
        os.close(terminal)
        text = re.sub(r"\x1b\[1C", " ", written.decode())
        return re.sub(r"\x1b\[[?\d;]*[A-Za-z]|\x1b\]0;[^\x07]*\x07", "", text), status

    def test_messages_and_reports_show_every_script(self):
        text, status = self.shown("query", "--inventory", "нет.xml")
        self.assertEqual(status, 1)
        self.assertIn("нет.xml", text)
        text, status = self.shown("check", "--inventory", "нет.xml", "--catalogue", "日本")
        self.assertIn("нет.xml", text)
        self.assertIn("日本", text)


if __name__ == "__main__":
    main()
