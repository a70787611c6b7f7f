#!/usr/bin/env python3
"""Compiles and runs the programs of docs/using-the-library.md as they stand there.

usage: page_test.py SOURCE LIBRARY_FOLDER INCLUDE_FOLDER...

On the machine of examples/raids each prints what the page says; with cffi that is its list of devices.
"""

import os
import re
import subprocess
import sys
import tempfile

# The system's own, which has cffi.
PYTHON = "/usr/bin/python3"
# The library's name on Windows, for the C# program.
DLL_MAP = '<configuration><dllmap dll="DEVPREP.dll" target="libdevprep.so.1"/></configuration>'

def blocks(page):
    with open(page, encoding="utf-8") as file:
        return re.findall(r"^```(\S+)\n(.*?)^```$", file.read(), re.M | re.S)


def commands(language, source, libraries):
    """What compiles the program, if it has to be, and what runs it."""
    if language in ("python", "cffi"):
        return [], [PYTHON, source]
    if language == "csharp":
        with open(source + ".out.config", "w", encoding="ascii") as file:
            file.write(DLL_MAP)
        return ["mcs", "-warnaserror", "-out:" + source + ".out", source], ["mono", source + ".out"]
    compiler = {"c": ["cc"], "c++": ["c++", "-std=c++17"]}[language]
    return ([*compiler, "-Wall", "-Wextra", "-Werror", source, "-o", source + ".out", f"-L{libraries}",
             "-ldevprep"], [source + ".out"])


def main():
    sources, libraries, *includes = sys.argv[1:]
    found = blocks(os.path.join(sources, "docs/using-the-library.md"))
    (expected,) = (text for language, text in found if language == "output")
    programs = {language: text for language, text in found if language in ("c", "c++", "python", "cffi", "csharp")}
    assert len(programs) == 5, sorted(programs)
    with open(os.path.join(sources, "examples/raids/configuration.reg"), encoding="ascii") as file:
        registry = file.read()

    failed = False
    with tempfile.TemporaryDirectory() as folder:
        environment = {**os.environ, "LD_LIBRARY_PATH": libraries, "CPATH": ":".join(includes),
                       "DEVPREP_REGISTRY": os.path.join(folder, "my.reg"),
                       "DEVPREP_HARDWARE": os.path.join(sources, "examples/raids/machine.reg")}
        for language, text in programs.items():
            with open(environment["DEVPREP_REGISTRY"], "w", encoding="ascii") as file:
                file.write(registry)
            source = os.path.join(folder, "set-up." + {"c++": "cc", "cffi": "py"}.get(language, language))
            with open(source, "w", encoding="utf-8") as file:
                file.write(text)
            compilation, run = commands(language, source, libraries)
            if compilation:
                subprocess.run(compilation, env=environment, check=True)
            ran = subprocess.run(run, env=environment, capture_output=True, text=True)
            printed = re.sub(r"[ \t]+$", "", ran.stdout, flags=re.M)
            wanted = expected
            if language == "cffi":
                wanted = re.sub(r"^(?!device \d+: type).*\n", "", expected, flags=re.M)
            if ran.returncode != 0 or ran.stderr or printed != wanted:
                failed = True
                print(f"{language}: exit status {ran.returncode}\n{ran.stderr}{printed}instead of\n{wanted}")
    sys.exit(failed)


main()
