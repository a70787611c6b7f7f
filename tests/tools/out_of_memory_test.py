#!/usr/bin/env python3
"""Lets allocations of the tool fail, one in each run: it ends by itself, with its work done or with a
message, and the registry is the old or the new one.

usage: out_of_memory_test.py TOOL EXAMPLES FAIL_ALLOCATION_LIBRARY
"""

import os
import shutil
import subprocess
import sys
import tempfile

TOOL, EXAMPLES, LIBRARY = (os.path.abspath(path) for path in sys.argv[1:])
TRIED = 40  # of each command's allocations, spread over all
COMMANDS = [
    ("recabling", ["configure"]),
    ("raids", ["raid", "assign", "1", "11"]),
    ("raids", ["set", "0", "cleaning_tape_slot=9", "--json"]),
    ("recabling", ["devices", "--json"]),
    ("recabling", ["plan"]),
]
LOADER_STATUS = 127  # the loader of the C library found no memory before the tool began

faults = []


def read(path):
    with open(path, "rb") as file:
        return file.read()


def run(folder, example, command, **variables):
    """The command on a fresh copy of the example: how it ended, the registry, and what else lies there."""
    shutil.rmtree(folder)
    os.mkdir(folder)
    registry = os.path.join(folder, "registry.reg")
    shutil.copy(os.path.join(EXAMPLES, example, "configuration.reg"), registry)
    environment = {**os.environ, "DEVPREP_REGISTRY": registry, "DEVPREP_HISTORY": "0", "LD_PRELOAD": LIBRARY,
                   "DEVPREP_HARDWARE": os.path.join(EXAMPLES, example, "machine.reg"), **variables}
    done = subprocess.run([TOOL, *command], env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=60)
    left = {name for name in os.listdir(folder) if not name.endswith(".lock")} - {"registry.reg"}
    return done, read(registry), left


def try_command(folder, count_file, example, command):
    done, new, left = run(folder, example, command, COUNT_ALLOCATIONS=count_file)
    old = read(os.path.join(EXAMPLES, example, "configuration.reg"))
    count = int(read(count_file))
    if left or count == 0:
        faults.append(f"{command}: {count} allocations, {left} left behind")
    finished = done.returncode
    for nth in range(1, count + 1, max(1, count // TRIED)):
        done, text, left = run(folder, example, command, FAIL_ALLOCATION=str(nth))
        name = f"{command} without allocation {nth}"
        message = done.stderr.decode(errors="replace")
        if done.returncode not in (finished, 1, LOADER_STATUS):
            faults.append(f"{name}: status {done.returncode} {message}")
        if done.returncode != finished and not message.strip() and not done.stdout.strip():
            faults.append(f"{name}: no message")
        if text != new and (text != old or done.returncode == finished):
            faults.append(f"{name}: status {done.returncode}, the registry is not as it should be")
        if left:
            faults.append(f"{name}: {left} left behind")


with tempfile.TemporaryDirectory(prefix="devprep-memory-") as work:
    os.mkdir(os.path.join(work, "run"))
    for number, arguments in enumerate(COMMANDS):
        try_command(os.path.join(work, "run"), os.path.join(work, f"count-{number}"), *arguments)
print("\n".join(faults))
sys.exit(1 if faults else 0)
