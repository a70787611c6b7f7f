#!/usr/bin/env python3
"""Runs the commands of a transcript and compares what they print.

usage: check_transcript.py TOOL EXAMPLES FILE...

In a Markdown file the transcripts are its code blocks, elsewhere the whole file. A line "$ COMMAND" is
run by sh, the lines behind it up to the next command are what it must print (both outputs, trailing
blanks ignored). Where nothing stands behind a command its output does not count. A command whose output
begins with "devprep: " must fail with status 1, with 2 when it ends with a hint at --help, or with 5 when
dangers were refused; every other one must succeed. The commands of one file run one after the other in one folder, which holds
"examples", "build/devprep" and "terminal", which is terminal.py; variables that are exported stay. What a
command prints with --json is held against its schema, too.
"""

import glob
import os
import re
import subprocess
import sys
import tempfile

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
import json_schemas

# Stands for the tool: keeps what it prints with --json, and its command line.
WRAPPER = """#!/bin/sh
case " $* " in *' --json '*) ;; *) exec {tool} "$@" ;; esac
kept=$(mktemp {kept}/XXXXXX) || exit 99
{tool} "$@" >"$kept"
status=$?
cat "$kept"
printf '%s\\0' "$status" "$@" >"$kept.command"
exit $status
"""


def transcripts(path):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if path.endswith(".md"):
        blocks = re.findall(r"^```(.*?)\n(.*?)^```$", text, re.M | re.S)
        text = "\n".join(block for language, block in blocks
                         if not language and block.startswith("$ "))
    steps = []
    for line in text.split("\n"):
        if line.startswith("$ "):
            steps.append((line[2:], []))
        elif steps and not line.startswith("#"):
            steps[-1][1].append(line.rstrip())
    return steps


def expected_status(output):
    if not output.startswith("devprep: "):
        return 0
    if output.startswith("devprep: refused, nothing was changed: "):
        return 5
    return 2 if output.rstrip().endswith("--help'.") else 1


def run(command, folder, environment):
    """Output, status and environment behind the command."""
    script = command + "\nstatus=$?\nenv -0 >environment.txt\nexit $status\n"
    done = subprocess.run(["sh", "-c", script], cwd=folder, env=environment, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
    with open(os.path.join(folder, "environment.txt"), encoding="utf-8") as file:
        pairs = [line.split("=", 1) for line in file.read().split("\0") if line]
    return done.stdout, done.returncode, dict(pairs)


def check_json(kept):
    """The number of outputs with --json that their schemas do not take."""
    failures = 0
    for file_name in glob.glob(os.path.join(kept, "*.command")):
        with open(file_name, encoding="utf-8") as file:
            status, *arguments = file.read().rstrip("\0").split("\0")
        with open(file_name.removesuffix(".command"), encoding="utf-8") as file:
            complaints = json_schemas.check(arguments, int(status), file.read())
        if complaints:
            failures += 1
            print(f"devprep {' '.join(arguments)}: " + "\n  ".join(complaints))
    return failures


def check(tool, examples, path):
    failures = 0
    steps = transcripts(path)
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory() as kept:
        os.mkdir(os.path.join(folder, "build"))
        wrapper = os.path.join(folder, "build", "devprep")
        with open(wrapper, "w", encoding="utf-8") as file:
            file.write(WRAPPER.format(tool=os.path.abspath(tool), kept=kept))
        os.chmod(wrapper, 0o755)
        os.symlink(os.path.abspath(examples), os.path.join(folder, "examples"))
        os.symlink(os.path.join(os.path.dirname(os.path.abspath(__file__)), "terminal.py"),
                   os.path.join(folder, "terminal"))
        environment = {key: value for key, value in os.environ.items()
                       if not key.startswith("DEVPREP_")}
        environment["LC_ALL"] = "C.UTF-8"
        for command, lines in steps:
            output, status, environment = run(command, folder, environment)
            got = "\n".join(line.rstrip() for line in output.split("\n")).strip("\n")
            wanted = "\n".join(lines).strip("\n")
            if status != expected_status(got) or (wanted and got != wanted):
                failures += 1
                print(f"{path}: $ {command}\n--- expected\n{wanted}\n--- got (status {status})\n{got}\n")
        failures += check_json(kept)
    print(f"{path}: {len(steps)} commands, {failures} failures")
    return failures if steps else 1


sys.exit(1 if sum(check(sys.argv[1], sys.argv[2], path) for path in sys.argv[3:]) else 0)
