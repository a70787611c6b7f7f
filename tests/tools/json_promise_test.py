#!/usr/bin/env python3
"""Holds what the tool prints with --json against what it printed when its format was new.

usage: json_promise_test.py TOOL EXAMPLES RECORDED [--record]

RECORDED has a folder format-N for the version N of the JSON, with the outputs of the commands below.
Each of them must still be right by today's schemas, and each member in it must still be in today's
output with a value of the same type. --record writes the outputs that are not there yet.
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
import json_schemas

# Of each example the commands that run one after the other. EXAMPLE is its folder.
COMMANDS = {
    "recabling": [
        ("plan", "plan --why 4"),
        ("check", "check"),
        ("configure", "configure"),
        ("devices", "devices"),
        ("device", "devices 4"),
        ("tree", "tree"),
        ("hardware", "hardware"),
        ("groups", "groups"),
        ("group", "groups 1"),
        ("disable", "disable 3"),
        ("set", "set 4 cleaning_tape_slot=none"),
        ("history", "history"),
        ("diff", "diff 1 3 --text"),
        ("undo", "undo --hardware-differs"),
        ("error", "devices 77"),
    ],
    "library": [
        (None, "configure"),
        ("library", "library --slots"),
        ("reserve", "reserve 0 --from-library"),
        ("release", "release 0 --dry-run"),
        ("enable", "enable 2"),
        ("group_create", "group create NIGHTLY tape 2 3"),
    ],
    "raids": [
        ("raids", "raids"),
        ("raid", "raids 0"),
        ("raid_assign", "raid assign 1 11"),
        ("refused", "--hardware EXAMPLE/machine-recabled.reg configure"),
    ],
}


def outputs(tool, examples):
    """(name, arguments, exit status, text) of each command that has a name."""
    for example, commands in COMMANDS.items():
        with tempfile.TemporaryDirectory() as folder:
            source = os.path.join(examples, example)
            environment = {key: value for key, value in os.environ.items()
                           if not key.startswith("DEVPREP_")}
            environment["DEVPREP_REGISTRY"] = os.path.join(folder, "registry.reg")
            environment["DEVPREP_HARDWARE"] = os.path.join(source, "machine.reg")
            if os.path.exists(os.path.join(source, "configuration.reg")):
                shutil.copy(os.path.join(source, "configuration.reg"), environment["DEVPREP_REGISTRY"])
            for name, command in commands:
                arguments = command.replace("EXAMPLE", source).split() + ["--json"]
                done = subprocess.run([tool, *arguments], env=environment, text=True, check=False,
                                      stdout=subprocess.PIPE)
                if name:
                    yield name, arguments, done.returncode, done.stdout


def broken(recorded, now, path="$"):
    """What of the recorded output is not kept."""
    if recorded is None:
        return []
    if type(recorded) is not type(now):
        return [f"{path}: was {type(recorded).__name__}, is {type(now).__name__}"]
    if isinstance(recorded, dict):
        return [text for name in recorded
                for text in (broken(recorded[name], now[name], f"{path}.{name}") if name in now
                             else [f"{path}: no {name} any more"])]
    if isinstance(recorded, list):
        if len(now) < len(recorded):
            return [f"{path}: {len(now)} items, no {len(recorded)}"]
        return [text for i, item in enumerate(recorded) for text in broken(item, now[i], f"{path}[{i}]")]
    return []


def main(tool, examples, folder, record=False):
    version = json_schemas.SCHEMAS["common.schema.json"]["$defs"]["format"]["const"]
    folder = os.path.join(folder, f"format-{version}")
    os.makedirs(folder, exist_ok=True)
    complaints = []
    count = 0
    for name, arguments, status, text in outputs(os.path.abspath(tool), os.path.abspath(examples)):
        count += 1
        file_name = os.path.join(folder, name + ".json")
        if record and not os.path.exists(file_name):
            with open(file_name, "w", encoding="utf-8") as file:
                file.write(json.dumps(json.loads(text), separators=(",", ":"), ensure_ascii=False) + "\n")
        with open(file_name, encoding="utf-8") as file:
            recorded = json.load(file)
        found = json_schemas.check(arguments, status, text)
        found += [f"{complaint} (recorded)" for complaint in json_schemas.complaints(
            json_schemas.schema_name(arguments, status, recorded), recorded, as_shipped=True)]
        found += broken(recorded, json.loads(text))
        complaints += [f"{name}: {complaint}" for complaint in found]
    print(*complaints, f"{count} outputs, {len(complaints)} complaints", sep="\n")
    return 1 if complaints or not count else 0


sys.exit(main(*sys.argv[1:4], record=sys.argv[4:] == ["--record"]))
