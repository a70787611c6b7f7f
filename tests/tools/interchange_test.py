#!/usr/bin/env python3
"""Every type of value, through the registry programs of others and back.

usage: interchange_test.py TOOL WORK
WORK: a folder that keeps a Windows for Wine. Where Wine cannot run, its tests are skipped.
"""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

TOOL = WORK = None
PREFIX = r"HKEY_LOCAL_MACHINE\SOFTWARE"
KEY = PREFIX + r"\Tamberline"
ASCII = b'plain \\ "quoted"'
LATIN = "Größe é".encode("latin-1")

# Name, type, data and what another program makes of the value: None when it does not keep it at all.
VALUES = [
    ("", 1, b"default\0", {}),
    ("ascii", 1, ASCII + b"\0", {}),
    ("ascii expand", 2, b"%" + ASCII + b"%\0", {"samba 4": None}),
    ("ascii multi", 7, ASCII + b"\0" + ASCII + b"\0\0", {"samba 4": None}),
    ("latin", 1, LATIN + b"\0", {"samba 4": None}),
    ("latin expand", 2, LATIN + b"\0", {"samba 4": None}),
    ("latin multi", 7, LATIN + b"\0" + LATIN + b"\0\0", {"samba 4": None}),
    ("two lines", 1, b"a\nb\0", {"samba 4": None, "wine 4": None, "wine 5": None}),
    ("empty", 1, b"\0", {}),
    ("empty multi", 7, b"\0", {"samba 4": None}),
    ("without NUL", 1, b"abc", {"samba 4": None, "wine 4": '"abc"', "wine 5": '"abc"'}),
    ("without bytes", 1, b"", {"samba 4": None, "wine 4": '""', "wine 5": '""'}),
    ("none", 0, b"\1\2", {}),
    ("binary", 3, bytes(range(256)), {}),
    ("no binary", 3, b"", {}),
    ("number", 4, b"\xbc\x0a\0\0", {}),
    ("short number", 4, b"\1\2", {"samba 4": None, "wine 4": None, "wine 5": None}),
    ("big-endian", 5, b"\0\0\0\1", {}),
    ("link", 6, LATIN, {}),
    ("resource", 8, b"\1", {}),
    ("descriptor", 9, b"\1", {}),
    ("requirements", 10, b"\1", {}),
    ("long number", 11, bytes(range(8)), {}),
    ("other", 32, b"\1\2", {}),
    ("Größe", 4, b"\0\0\0\0", {}),
]


def text_for(program):
    """A registry text with what the program keeps."""
    lines = ["REGEDIT4", f"[{KEY}]"]
    for name, kind, data, made in VALUES:
        if made.get(program, data) is not None:
            lines.append((f'"{name}"' if name else "@") + f"=hex({kind:x}):" + data.hex(","))
    return "\n".join(lines + [f"[{KEY}\\Schlüssel]", '"in"="it"', ""]).encode("latin-1")


def run(*command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, timeout=300,
                          **options)
    if done.returncode:
        raise AssertionError(f"{command}: status {done.returncode}\n{done.stdout.decode('latin-1')}")
    return done.stdout


def cell(data):
    size = (len(data) + 11) // 8 * 8
    return struct.pack("<i", -size) + data.ljust(size - 4, b"\0")


def empty_hive():
    """A hive file that holds its root key and that one's security descriptor."""
    none = 0xFFFFFFFF
    security_at = 120
    root = cell(b"nk" + struct.pack("<HQ4I", 0x2C, 0, 0, none, 0, 0) +
                struct.pack("<9I", none, none, 0, none, security_at, none, 0, 0, 0) +
                struct.pack("<2I2H", 0, 0, 4, 0) + b"ROOT")
    security = cell(b"sk" + struct.pack("<H4I", 0, security_at, security_at, 1, 20) +
                    struct.pack("<2H4I", 1, 0x8000, 0, 0, 0, 0))
    block = b"hbin" + struct.pack("<7I", 0, 4096, 0, 0, 0, 0, 0) + root + security
    block += struct.pack("<i", 4096 - len(block))
    head = (b"regf" + struct.pack("<11I", 1, 1, 0, 0, 1, 3, 0, 1, 32, 4096, 1)).ljust(508, b"\0")
    check = 0
    for (number,) in struct.iter_unpack("<I", head):
        check ^= number
    return (head + struct.pack("<I", check)).ljust(4096, b"\0") + block.ljust(4096, b"\0")


class Interchange(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="devprep-interchange-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def tool(self, registry, *arguments):
        return run(TOOL, "--registry", self.path(registry), "registry", *arguments)

    def content(self, registry):
        """The keys with their values, which programs keep in any order."""
        text = self.tool(registry, "show", KEY.replace("HKEY_LOCAL_MACHINE", "HKLM")).decode("latin-1")
        return {block.split("\n")[0]: sorted(block.split("\n")[1:])
                for block in text.replace("\\\n  ", "").strip().split("\n\n")}

    def export(self, program):
        self.tool("before.reg", "import", self.write("before", text_for(program)))
        return self.write("exported.reg", self.tool("before.reg", "export", "--format", program[-1], "-"))

    def compare(self, program, text):
        self.tool("after.reg", "import", self.write("returned.reg", text))
        wanted = self.content("before.reg")
        for name, _, _, made in VALUES:
            if made.get(program):
                values = [line for line in wanted[f"[{KEY}]"] if not line.startswith(f'"{name}"=')]
                wanted[f"[{KEY}]"] = sorted(values + [f'"{name}"={made[program]}'])
        self.assertGreater(len(wanted[f"[{KEY}]"]), 12)
        self.assertEqual(self.content("after.reg"), wanted)
        self.assertIn(b'"in"="it"', self.tool("after.reg", "show", KEY + "\\Schlüssel"))

    def test_hivexregedit_5(self):
        with open(self.export("hivexregedit 5"), encoding="utf-16") as file:  # it wants UTF-8 and LF
            text = self.write("unix.reg", file.read().replace("[HKEY_LOCAL_MACHINE]\n", "").encode())
        hive = self.write("hive", empty_hive())
        options = ("--prefix", PREFIX, hive)
        utf8 = {"env": dict(os.environ, PERL_UNICODE="SD")}
        run("hivexregedit", "--merge", *options, text, **utf8)
        self.compare("hivexregedit 5", run("hivexregedit", "--export", *options, "\\", **utf8))

    def through_samba(self, program, *options):
        configuration = self.write("smb.conf", "\n".join(
            ["[global]", *(f"{name} directory = {self.folder}" for name in ("state", "lock", "cache", "private"))]
        ).encode())
        registry = ("net", "--configfile=" + configuration, "registry")
        run(*registry, "import", self.export(program), *options)
        run(*registry, "export", KEY, self.path("samba.reg"))
        with open(self.path("samba.reg"), "rb") as file:
            self.compare(program, file.read())

    def test_samba_5(self):
        self.through_samba("samba 5")

    def test_samba_4(self):
        self.through_samba("samba 4", "enc=ISO-8859-1")

    def through_wine(self, program):
        wine = runnable_wine()
        os.makedirs(WORK, exist_ok=True)
        environment = dict(os.environ, WINEPREFIX=os.path.join(WORK, "prefix"), WINEDEBUG="-all",
                           WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe=d")
        environment.pop("DISPLAY", None)
        quiet = {"env": environment, "stdin": subprocess.DEVNULL}
        windows_path = "Z:" + self.path("wine.reg").replace("/", "\\")
        run(wine, "regedit", "/S", self.write("clear.reg", f"REGEDIT4\n\n[-{KEY}]\n".encode()), **quiet)
        run(wine, "regedit", "/S", "Z:" + self.export(program).replace("/", "\\"), **quiet)
        run(wine, "regedit", "/E", windows_path, KEY, **quiet)
        with open(self.path("wine.reg"), "rb") as file:
            self.compare(program, file.read())

    def test_wine_4(self):
        self.through_wine("wine 4")

    def test_wine_5(self):
        self.through_wine("wine 5")


def runnable_wine():
    for wine in ("/usr/lib/wine/wine64", "wine"):
        if shutil.which(wine) and subprocess.run([wine, "--version"], stdout=subprocess.DEVNULL,
                                                 stderr=subprocess.DEVNULL, check=False).returncode == 0:
            return wine
    raise unittest.SkipTest("Wine is not installed, or this machine's kernel runs no programs of its kind")


if __name__ == "__main__":
    TOOL, WORK = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
