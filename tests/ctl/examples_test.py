#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the documents show of keyloftctl is what it does.

In a document, a block of TOML that begins with `# NAME.toml` is a file of that name. In a block of a
console, `$ keyloftctl ...` is run where these files are, and prints what stands below it. A command
without --demo is for real machines: it gets --demo with the machines that its block names. Where ^C
is shown, the command is interrupted.
"""

import os
import re
import shlex
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PROGRAM = os.environ["KEYLOFTCTL"]
SOURCE = Path(os.environ["KEYLOFT_SOURCE"])
LANGUAGES = ("", ".zh_CN")
DOCUMENTS = ("README{}.md", "docs/user-guide{}.md", "docs/layouts{}.md")


def blocks(text, kind):
    """The fenced blocks of a kind."""
    return re.findall(rf"^ *```{kind}\n(.*?)^ *```$", text, re.DOTALL | re.MULTILINE)


def files(text):
    """The files that a document shows: name -> content."""
    shown = {}
    for block in blocks(text, "toml"):
        name = re.match(r"# (\S+\.toml)\b", block)
        assert name, f"which file is this?\n{block}"
        assert name[1] not in shown, f"{name[1]} is there twice"
        shown[name[1]] = block
    return shown


def without_comments(text):
    """The files that a document shows, without what is in its language."""
    return {name: re.sub(r" *#.*", "", content) for name, content in files(text).items()}


def commands(text):
    """(command, what it prints, the machines of its block) of each keyloftctl that is shown."""
    for block in blocks(text, "console"):
        machines = sorted(set(re.findall(r"\b4AC[0-9A-F]F4C4\b", block)))
        for command, output in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.MULTILINE):
            if command.startswith("keyloftctl "):
                yield command, output, machines


def arguments(command, machines):
    words = shlex.split(command)[1:]
    simulated = any(word.startswith("--demo") for word in words) or words[0] == "check"
    return words if simulated else [f"--demo={','.join(machines)}", *words]


def comparable(output):
    """Without what differs from run to run: times, and the numbers of ports."""
    output = re.sub(r"\b[0-9]+(\.[0-9]+)? (ms|s)\b", r"N \2", output)
    output = re.sub(r"\b[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3}\b", "TIME", output)
    return re.sub(r"\b[0-9]+:0\b", "P:0", output)


def printed(program, expected):
    """What a program prints until it ends, or until it is interrupted where ^C is expected."""
    if "^C\n" not in expected:
        return program.communicate(timeout=60)[0]
    shown = "".join(program.stdout.readline()
                    for _ in range(expected[:expected.index("^C\n")].count("\n")))
    program.send_signal(signal.SIGINT)
    return f"{shown}^C\n{program.communicate(timeout=60)[0]}"


class Examples(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def documents(self):
        for document in DOCUMENTS:
            for language in LANGUAGES:
                path = SOURCE / document.format(language)
                if path.exists():
                    yield path.relative_to(SOURCE), path.read_text(encoding="utf-8")

    def test_commands_print_what_the_documents_show(self):
        seen = 0
        for document, text in self.documents():
            for name, content in files(text).items():
                (self.folder / name).write_text(content, encoding="utf-8")
            for command, output, machines in commands(text):
                seen += 1
                with self.subTest(document=document, command=command), subprocess.Popen(
                        [PROGRAM, *arguments(command, machines)], cwd=self.folder, text=True,
                        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                        env={**os.environ, "XDG_RUNTIME_DIR": str(self.folder)}) as program:
                    self.assertEqual(comparable(printed(program, output)), comparable(output))
        self.assertGreaterEqual(seen, 12)

    def test_both_languages_show_the_same_commands_and_layouts(self):
        for document in DOCUMENTS:
            texts = [(SOURCE / document.format(language)).read_text(encoding="utf-8")
                     for language in LANGUAGES if (SOURCE / document.format(language)).exists()]
            shown = [(list(commands(text)), without_comments(text)) for text in texts]
            self.assertTrue(all(each == shown[0] for each in shown), document)


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
