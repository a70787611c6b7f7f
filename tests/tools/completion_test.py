#!/usr/bin/env python3
"""What bash, zsh and fish make of the tab key behind a beginning.

usage: completion_test.py TOOL SOURCES
"""

import fcntl
import os
import pty
import re
import select
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

TOOL = SOURCES = None
KEY = r"SOFTWARE\Tamberline\Vaultkeep\Base" + "\\"

# What is typed, what stands there after the tab key, and what is offered when that is not all.
CASES = [
    ("reser", "reserve", []),
    ("devices ", "devices ", ["tape drive 0:0:2:0 ACME    STREAMER-9", "changer 1:0:5:0 ACME"]),
    ("reserve ", "reserve ", ["changer 0:0:6:0", "changer 1:0:5:0"]),
    ("reserve 4 ", "reserve 4 ", ["tape drive 1:0:3:0"]),
    ("raid assign 0 ", "raid assign 0 ", ["tape drive 1:0:3:0"]),
    ("groups ", "groups ", ["VETERANS, tape group"]),
    ("--registry raids.reg raids ", "--registry raids.reg raids ", ["level 5, 4 tapes"]),
    ("undo ", "undo 1", []),
    ("devices -o address,seri", "devices -o address,serial_number", []),
    ("tree -o +sta", "tree -o +state", []),
    ("configure --accept split,tw", "configure --accept split,twins", []),
    ("set 4 cl", "set 4 cleaning_tape_slot=", []),
    ("registry show 'soft", f"registry show '{KEY}", ["TapeEngine", "Path"]),
    (r"registry show SOFTWARE\\Tamb", f"registry show {KEY}".replace("\\", "\\\\"), ["TapeEngine"]),
    ("registry export --format 5 --forc", "registry export --format 5 --force", []),
    ("picture --pl", "picture --plan", []),
]


class Terminal:
    """An interactive shell in which ^G shows the line that stands there."""

    def __init__(self, arguments, environment, folder, set_up):
        self.process, self.file = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(arguments[0], arguments, environment)
        fcntl.ioctl(self.file, termios.TIOCSWINSZ, struct.pack("HHHH", 40, 160, 0, 0))
        os.write(self.file, (set_up + "; echo rea''dy\n").encode())
        self.read_to(rb"ready\r\n.*\$ ")

    def read_to(self, mark):
        shown = b""
        deadline = time.monotonic() + 60
        while not re.search(mark, shown, re.S):
            if not select.select([self.file], [], [], max(0, deadline - time.monotonic()))[0]:
                raise AssertionError(f"no {mark!r} in {shown!r}")
            shown += os.read(self.file, 65536)
        return shown.decode("latin-1")

    def complete(self, typed):
        """The line after the tab key, and all that was shown."""
        os.write(self.file, typed.encode() + b"\t\x07\x15")
        shown = self.read_to(rb"<<.*>>")
        return re.search(r"<<(.*)>>", shown, re.S).group(1), shown

    def close(self):
        os.kill(self.process, 9)
        os.waitpid(self.process, 0)
        os.close(self.file)


class Completion(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="devprep-completion-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        examples = os.path.join(SOURCES, "examples")
        for example in "recabling", "raids":
            shutil.copy(os.path.join(examples, example, "configuration.reg"),
                        os.path.join(self.folder, example + ".reg"))
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith("DEVPREP_")}
        self.environment.update(PATH=os.path.dirname(TOOL) + ":" + os.environ["PATH"], TERM="dumb",
                                HOME=self.folder, LC_ALL="C.UTF-8",
                                DEVPREP_REGISTRY=os.path.join(self.folder, "recabling.reg"))
        # Nothing is to be asked while somebody types.
        self.environment["DEVPREP_HARDWARE"] = os.path.join(examples, "recabling", "machine.reg")
        subprocess.run([TOOL, "configure"], env=self.environment, check=True, stdout=subprocess.DEVNULL)
        self.environment["DEVPREP_HARDWARE"] = "nowhere"

    def file(self, name):
        return os.path.join(SOURCES, "tools", "completion", name)

    def check(self, arguments, set_up):
        terminal = Terminal(arguments, self.environment, self.folder, set_up)
        self.addCleanup(terminal.close)
        for typed, wanted, offered in CASES:
            with self.subTest(typed):
                line, shown = terminal.complete("devprep " + typed)
                self.assertEqual(line.rstrip(), ("devprep " + wanted).rstrip())
                for text in offered:
                    self.assertIn(text, shown)

    def test_bash(self):
        self.check(["bash", "--norc", "-i"],
                   "PS1='$ '; bind 'set show-all-if-ambiguous on'; bind 'set page-completions off'; "
                   "bind 'set enable-bracketed-paste off'; "
                   "bind -x '\"\\C-g\": printf \"<<%s>>\" \"$READLINE_LINE\"'; . " + self.file("devprep.bash"))

    def test_zsh(self):
        self.check(["zsh", "-f", "-i"],
                   f"PS1='$ '; fpath=({os.path.dirname(self.file('_devprep'))} $fpath); autoload -Uz compinit; "
                   "compinit -D -u; unsetopt list_ambiguous; show() print -rn \"<<$BUFFER>>\"; zle -N show; bindkey '^G' show")

    def test_fish(self):
        for typed, wanted, offered in CASES:
            with self.subTest(typed):
                script = f"source {self.file('devprep.fish')}; complete -C $argv[1]"
                done = subprocess.run(["fish", "--no-config", "-c", script, "--", "devprep " + typed],
                                      env=self.environment, cwd=self.folder, check=True, text=True,
                                      stdout=subprocess.PIPE)
                for text in offered:
                    self.assertIn(text, done.stdout)
                if not offered:
                    self.assertEqual([line.split("\t")[0] for line in done.stdout.splitlines()],
                                     [wanted.split(" ")[-1]])


if __name__ == "__main__":
    TOOL, SOURCES = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
