#!/usr/bin/env python3
"""Runs the commands of a transcript and compares what they print.

usage: check_transcript.py [--update] TOOL EXAMPLES FILE...

In a Markdown file the transcripts are its code blocks, elsewhere the whole file. A line "$ COMMAND" is
run by sh, the lines behind it up to the next command are what it must print (both outputs, trailing
blanks ignored). Where nothing stands behind a command its output does not count. A command whose output
begins with "devprep: " must fail with status 1, with 2 when it ends with a hint at --help, or with 5 when
dangers were refused; every other one must succeed. The commands of one file run one after the other in one
folder, which holds "examples", "build/devprep" (also found as "devprep") and "terminal", which is terminal.py;
variables that are exported stay. What a command prints with --json is held against its schema, too. A picture
that a Markdown file shows must be the one that its commands have drawn under that name, byte for byte.

With --update Markdown files and their pictures are rewritten instead, as the commands print and draw them.
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


class Step:
    """A command, with the lines of its file that it must print."""

    def __init__(self, command, first):
        self.command = command
        self.first = first
        self.lines = []

    def wanted(self):
        return "\n".join(line.rstrip() for line in self.lines if not line.startswith("#")).strip("\n")


def transcripts(path, lines):
    steps = []
    inside = not path.endswith(".md")
    for number, line in enumerate(lines):
        if path.endswith(".md") and line.startswith("```"):
            inside = not inside and line == "```" and lines[number + 1].startswith("$ ")
        elif inside and line.startswith("$ "):
            steps.append(Step(line[2:], number + 1))
        elif inside and steps:
            steps[-1].lines.append(line)
    return steps


def pictures(path, text):
    """(the file that a Markdown file shows, the name under which its commands draw it)"""
    folder = os.path.dirname(os.path.abspath(path))
    links = re.findall(r"!\[[^]]*\]\((\S+\.svg)\)", text) if path.endswith(".md") else []
    return [(os.path.join(folder, link), os.path.basename(link)) for link in links]


def content(path):
    if not os.path.exists(path):
        return None
    with open(path, "rb") as file:
        return file.read()


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


def check(tool, examples, path, update):
    failures = 0
    with open(path, encoding="utf-8") as file:
        text = file.read()
    file_lines = text.split("\n")
    steps = transcripts(path, file_lines)
    outputs = []
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
        environment["PATH"] = os.path.join(folder, "build") + os.pathsep + environment["PATH"]
        for step in steps:
            output, status, environment = run(step.command, folder, environment)
            got = "\n".join(line.rstrip() for line in output.split("\n")).strip("\n")
            outputs.append(got)
            wanted = step.wanted()
            if status != expected_status(got) or (wanted and got != wanted and not update):
                failures += 1
                print(f"{path}: $ {step.command}\n--- expected\n{wanted}\n--- got (status {status})\n{got}\n")
        failures += check_json(kept)
        for shown, name in pictures(path, text):
            drawn = content(os.path.join(folder, name))
            if update and drawn is not None:
                with open(shown, "wb") as file:
                    file.write(drawn)
            elif drawn is None or drawn != content(shown):
                failures += 1
                print(f"{path}: {name} is not what its commands draw")
    if update and path.endswith(".md"):
        for step, output in reversed(list(zip(steps, outputs))):
            if step.wanted():
                file_lines[step.first:step.first + len(step.lines)] = output.split("\n")
        with open(path, "w", encoding="utf-8") as file:
            file.write("\n".join(file_lines))
    print(f"{path}: {len(steps)} commands, {failures} failures")
    return failures if steps else 1


arguments = sys.argv[1:]
rewrite = arguments[0] == "--update"
tool_path, examples_path, *paths = arguments[1:] if rewrite else arguments
sys.exit(1 if sum(check(tool_path, examples_path, path, rewrite) for path in paths) else 0)
