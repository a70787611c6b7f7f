#!/usr/bin/env python3
"""Compares the man pages and the completions with what --help names, command by command.

usage: check_help.py TOOL MAN-FOLDER COMPLETION-FOLDER

A command's tag in a man page (the line after .TP that begins with its name) names its own options.
The bash completion is asked; of the others the words are compared as a whole.
"""

import glob
import os
import re
import subprocess
import sys

OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]+")
tool, man_folder, completion_folder = map(os.path.abspath, sys.argv[1:])


def walk(path=()):
    """{command: its own options} for a command and all below it; the tool itself is ()."""
    text = subprocess.run([tool, *path, "--help"], check=True, text=True, stdout=subprocess.PIPE).stdout
    lines = text.split("\n")
    options = set()
    children = []
    section = ""
    for line in lines:
        if re.match(r"\S.*:$", line):
            section = line.lower()
        elif re.match(r"  \S", line):
            if section.startswith("commands"):
                children.append(line.split()[0])
            elif section.startswith("options"):
                options.update(OPTION.findall(re.split(r"\s{2,}", line.strip())[0]))
    tree = {path: options - {"--help"}}
    for child in children:
        tree.update(walk((*path, child)))
    return tree


def plain(roff):
    """A line of a man page without its markup."""
    return re.sub(r"\\f[A-Z]|^\.[A-Z]+ |\"| (?=\")", "", roff.replace(r"\-", "-"))


def in_man_pages():
    tags = {}
    options = set()
    for page in glob.glob(os.path.join(man_folder, "*.1")):
        with open(page, encoding="utf-8") as file:
            lines = file.read().split("\n")
        section = ""
        for before, line in zip(lines, lines[1:]):
            section = line if line.startswith(".SH") else section
            text = plain(line)
            options.update(OPTION.findall(text))
            if before == ".TP" and "COMMANDS" in section:
                words = re.match(r"[a-z -]*[a-z](?![a-z-])", text)
                tags[tuple(words.group().split())] = set(OPTION.findall(text))
    return tags, options


def in_bash(path, word):
    script = ('complete() { :; }; compopt() { :; }; . "$1"; shift; COMP_WORDS=("$@"); '
              'COMP_CWORD=$(($# - 1)); _devprep; printf "%s\\n" "${COMPREPLY[@]}"')
    done = subprocess.run(["bash", "-c", script, "bash", os.path.join(completion_folder, "devprep.bash"),
                           "devprep", *path, word], text=True, stdout=subprocess.PIPE, cwd="/")
    return set(done.stdout.split())


def compare(where, wanted, found):
    for text, names in (("lacks", wanted - found), ("names what --help does not:", found - wanted)):
        if names:
            complaints.append(f"{where} {text} {', '.join(sorted(map(str, names)))}")


complaints = []
tree = walk()
parents = {path[:-1] for path in tree if path}
leaves = {path: options for path, options in tree.items() if path not in parents}
every_option = set().union({"--help"}, *tree.values())
tags, man_options = in_man_pages()
compare("the man page", set(leaves), set(tags))
compare("the man page", every_option, man_options)
for path, options in leaves.items():
    compare(f"the man page's {' '.join(path)}", options, tags.get(path, options))
for path, options in tree.items():
    completed = in_bash(path, "--")
    compare(f"bash after {path}", options, {word for word in completed if word.startswith("--")} - {"--help"})
for path in parents:
    below = {child[len(path)] for child in tree if len(child) == len(path) + 1 and child[:len(path)] == path}
    compare(f"bash after {path}", below, {word for word in in_bash(path, "") if word[0] != "-"})
for name in os.listdir(completion_folder):
    with open(os.path.join(completion_folder, name), encoding="utf-8") as file:
        text = file.read()
    words = set(OPTION.findall(text)) | {"--" + word for word in re.findall(r"^complete .*?-l ([a-z][a-z-]+)", text, re.M)}
    compare(name, every_option, words)
    missing = {word for path in tree for word in path if not re.search(rf"\b{word}\b", text)}
    compare(name, missing, set())
for complaint in complaints:
    print(complaint)
print(f"{len(tree)} commands, {len(every_option)} options, {len(complaints)} complaints")
sys.exit(1 if complaints or len(tree) < 2 else 0)
