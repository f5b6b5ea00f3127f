#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the documents show of keyloftctl is what it does.

In a document, a block of TOML that begins with `# NAME.toml` is a file of that name. In a block of a
console, `$ keyloftctl ...` is run where these files are, and prints what stands below it. A command
without --demo is for real machines: it gets --demo with the machines that its block names. It runs on
a terminal, where ^C interrupts it and a question gets the answer that is shown.
"""

import os
import pty
import re
import select
import shlex
import signal
import subprocess
import sys
import tempfile
import termios
import unittest
from pathlib import Path

PROGRAM = os.environ["KEYLOFTCTL"]
SOURCE = Path(os.environ["KEYLOFT_SOURCE"])
QUESTION = "[y/n] "
LATE = re.compile(r"^4AC[0-9A-F]F4C4  (part|[0-9]+ mapping).*\n", re.MULTILINE)
DOCUMENTS = ("README{}.md", "docs/user-guide{}.md", "docs/layouts{}.md")


def documents(language):
    """(name, text) of each."""
    for document in DOCUMENTS:
        name = document.format(language)
        yield name, (SOURCE / name).read_text(encoding="utf-8")


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
    """(command, what it prints, the machines of its block) of each keyloftctl that is shown, and of
    loops of the shell that write files for it."""
    for block in blocks(text, "console"):
        machines = sorted(set(re.findall(r"\b4AC[0-9A-F]F4C4\b", block)))
        for command, output in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.MULTILINE):
            if command.startswith(("keyloftctl ", "for ")):
                yield command, output, machines


def for_shell(command, machines):
    program, _, rest = command.partition(" ")
    if program != "keyloftctl":
        return command
    simulated = "--demo" in rest or rest.startswith("check ")
    demo = "" if simulated else f"--demo={','.join(machines)} "
    return f"exec {shlex.quote(PROGRAM)} {demo}{rest}"


def comparable(output):
    """Without what differs from run to run: times, and the numbers of ports."""
    output = re.sub(r"\b[0-9]+(\.[0-9]+)? (ms|s)\b", r"N \2", output)
    output = re.sub(r"\b[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3}\b", "TIME", output)
    return re.sub(r"\b[0-9]+:0\b", "P:0", output)


class Terminal:
    """A terminal that a shell runs a command on, without echoing what is typed there."""

    def __init__(self, command, folder):
        self.ours, theirs = pty.openpty()
        modes = termios.tcgetattr(theirs)
        modes[1] &= ~termios.OPOST
        modes[3] &= ~termios.ECHO
        termios.tcsetattr(theirs, termios.TCSANOW, modes)
        environment = {**os.environ, "XDG_RUNTIME_DIR": str(folder), "NO_COLOR": "1", "TERM": "dumb"}
        self.shell = subprocess.Popen(["sh", "-c", command], cwd=folder, env=environment,
                                      stdin=theirs, stdout=theirs, stderr=theirs)
        os.close(theirs)

    def read_until(self, end):
        """What is printed up to this end; all of it where the end does not come in time."""
        shown = b""
        while (end is None or not shown.endswith(end)) and select.select([self.ours], [], [], 60)[0]:
            try:
                shown += os.read(self.ours, 1)
            except OSError:  # nobody has the terminal open any more
                break
        return shown.decode()

    def close(self):
        self.shell.kill()
        self.shell.wait()
        os.close(self.ours)


def printed(command, expected, folder):
    """What a command prints; where an answer or ^C is shown, it is given."""
    terminal = Terminal(command, folder)
    shown = ""
    for line in expected.splitlines(keepends=True):
        _, is_question, answer = line.partition(QUESTION)
        if line == "^C\n":
            terminal.shell.send_signal(signal.SIGINT)
            shown += line
        elif is_question:
            shown += terminal.read_until(QUESTION.encode()) + answer
            os.write(terminal.ours, answer.encode())
        else:
            shown += terminal.read_until(b"\n")
    rest = terminal.read_until(None)
    terminal.close()
    # Simulated machines move on, and come and go, until the program has ended.
    return shown + (re.sub(LATE, "", rest) if "^C\n" in expected else rest)


class Examples(unittest.TestCase):
    def test_commands_print_what_the_documents_show(self):
        seen = 0
        for document, text in documents(""):
            with tempfile.TemporaryDirectory() as folder:
                for name, content in files(text).items():
                    Path(folder, name).write_text(content, encoding="utf-8")
                for command, output, machines in commands(text):
                    seen += 1
                    with self.subTest(document=document, command=command):
                        shown = printed(for_shell(command, machines), output, Path(folder))
                        self.assertEqual(comparable(shown), comparable(output))
        self.assertGreaterEqual(seen, 20)

    def test_both_languages_show_the_same_commands_and_layouts(self):
        for (document, english), (_, chinese) in zip(documents(""), documents(".zh_CN")):
            with self.subTest(document=document):
                self.assertEqual(list(commands(english)), list(commands(chinese)))
                self.assertEqual(without_comments(english), without_comments(chinese))


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
