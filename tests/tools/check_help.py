#!/usr/bin/env python3
"""Compares the man pages, the gallery and the completions with what --help names, command by command.

usage: check_help.py TOOL MAN-FOLDER GALLERY COMPLETION-FOLDER

The help of a command names its page. There its synopsis has its own options, and it has a tag in the
description; the tags below OPTIONS are those of the commands of the page and no others. Pages name each other,
and format without warnings. The gallery shows each command. The bash completion is asked; of the others the
words are compared as a whole.
"""

import glob
import os
import re
import subprocess
import sys

OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]+")
tool, man_folder, gallery, completion_folder = map(os.path.abspath, sys.argv[1:])


def walk(path=()):
    """({command: its own options}, {command: its page}) for a command and all below it; the tool itself is ()."""
    text = subprocess.run([tool, *path, "--help"], check=True, text=True, stdout=subprocess.PIPE).stdout
    options = set()
    children = []
    section = ""
    for line in text.split("\n"):
        if re.match(r"\S.*:$", line):
            section = line
        elif re.match(r"  \S", line):
            if re.search(r"^Commands|\(1\):$", section):
                children.append(line.split()[0])
                if path == ():
                    grouped.setdefault(section.rsplit(" ", 1)[1].removesuffix("(1):"), []).append(children[-1])
            elif section.startswith("Options"):
                options.update(OPTION.findall(re.split(r"\s{2,}", line.strip())[0]))
    named = re.findall(r"^See (devprep[a-z-]*)\(1\)", text, re.M)
    tree = {path: options - {"--help"}}
    pages = {path: named[-1] if named else "none"}
    for child in children:
        below = walk((*path, child))
        tree.update(below[0])
        pages.update(below[1])
    return tree, pages


def plain(roff):
    """A line of a man page without its markup."""
    return re.sub(r"\\f[A-Z]|^\.[A-Z]+ |\"| (?=\")", "", roff.replace(r"\-", "-"))


class Page:
    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            text = file.read().replace(r"\-", "-")
        self.sections = {}
        for part in re.split(r"^\.SH ", text, flags=re.M)[1:]:
            title, body = part.split("\n", 1)
            self.sections[title] = body
        self.synopses = {}
        for name, body in re.findall(r'^\.SY "?devprep ?([a-z ]*)"?\n(.*?)^\.YS$', text, re.M | re.S):
            self.synopses[tuple(name.split())] = set(OPTION.findall("\n".join(re.findall(r"^\.OP .*$", body, re.M))))
        self.described = {tuple(tag.split()) for tag in re.findall(r"^\.TP\n\.B ([a-z ]+)$",
                                                                   self.sections.get("DESCRIPTION", ""), re.M)}
        tags = re.findall(r"^\.TP\n(.*)$", self.sections.get("OPTIONS", ""), re.M)
        self.options = set(OPTION.findall("\n".join(map(plain, tags))))
        self.named = set(re.findall(r"\b(devprep[a-z-]*) ?\(1\)", text))
        # Of the overview: the commands that it says a page has.
        self.overview = {page: re.findall(r"[a-z]+", commands) for page, commands in
                         re.findall(r"^\.TP\n\.BR (devprep-[a-z]+) \(1\)\n\.BR (.*) :$", text, re.M)}


SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"]


def check_pages():
    paths = {os.path.basename(path).removesuffix(".1"): path
             for path in glob.glob(os.path.join(man_folder, "*.1"))}
    found = {name: Page(path) for name, path in paths.items()}
    compare("the folder of man pages", set(pages.values()), set(found))
    for name, page in found.items():
        for lint in (["groff", "-man", "-ww", "-z", "-rLL=78n", paths[name]],
                     ["mandoc", "-T", "lint", "-W", "warning", paths[name]]):
            done = subprocess.run(lint, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            if done.stdout or done.returncode:
                complaints.append(f"{name}: {done.stdout}")
        compare(f"{name}'s sections", set(SECTIONS), set(page.sections) & set(SECTIONS))
        compare(f"{name}'s SEE ALSO", set(found) - {name},
                set(re.findall(r"devprep[a-z-]*", page.sections.get("SEE ALSO", ""))))
        compare(f"{name}'s links", page.named & set(found), page.named)
        here = {path for path in leaves if pages[path] == name} if name != "devprep" else {()}
        compare(f"{name}'s synopsis", here, set(page.synopses))
        for path in here & set(page.synopses):
            compare(f"{name}'s synopsis of {' '.join(path)}", tree[path] - {"--version"}, page.synopses[path])
        compare(f"{name}'s description", here - {()}, page.described)
        compare(f"{name}'s options", set().union({"--help"}, *(tree[path] for path in here)), page.options)
    compare("devprep's commands", {(page, *names) for page, names in grouped.items()},
            {(page, *names) for page, names in found["devprep"].overview.items()})


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
grouped = {}
tree, pages = walk()
parents = {path[:-1] for path in tree if path}
leaves = {path: options for path, options in tree.items() if path not in parents}
every_option = set().union({"--help"}, *tree.values())
check_pages()
with open(gallery, encoding="utf-8") as file:
    commands_shown = re.findall(r"^\$ devprep (.*)$", file.read(), re.M)
compare("the gallery", set(leaves), {path for path in leaves for command in commands_shown
                                     if command.split()[:len(path)] == list(path)})
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
