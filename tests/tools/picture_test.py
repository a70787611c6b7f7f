#!/usr/bin/env python3
"""Draws the examples and looks at the pictures in a browser: headless Chromium.

usage: picture_test.py TOOL SOURCE FOLDER

Keeps pictures and screenshots in FOLDER.
"""

import concurrent.futures
import html
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import xml.dom.minidom

tool, source, folder = map(os.path.abspath, sys.argv[1:4])
here = os.path.dirname(os.path.abspath(__file__))
examples = os.path.join(source, "examples")
os.makedirs(folder, exist_ok=True)
failures = []

# name, registry, capture, options, devices drawn, groups, RAIDs or findings in the legend, dark
CASES = [
    ("new-machine", None, "new-machine/machine.reg", [], 6, 0, False),
    ("recabling", "recabling", "recabling/machine.reg", [], 11, 4, False),
    ("recabling-plan", "recabling", "recabling/machine.reg", ["--plan"], 15, 4, False),
    ("raids", "raids", "raids/machine.reg", [], 12, 2, False),
    ("raids-plan", "raids", "raids/machine-recabled.reg", ["--plan"], 25, 2, True),
    ("large-machine", "large-machine", "large-machine/machine.reg", [], 128, 16, False),
    ("library", None, "library/machine.reg", [], 7, 0, False),
    ("hostile", "hostile", "hostile/machine.reg", [], 11, 4, True),
    ("estate", None, None, None, 20, 5, False),
    ("estate-large", None, None, None, 15, 3, True),
]


def check(holds, text):
    if not holds:
        failures.append(text)


def run(arguments, registry, capture):
    environment = {key: value for key, value in os.environ.items() if not key.startswith("DEVPREP_")}
    environment["DEVPREP_REGISTRY"] = registry
    environment["DEVPREP_HARDWARE"] = capture
    return subprocess.run([tool, *arguments], env=environment, capture_output=True)


def draw(arguments, registry, capture):
    return run(["picture", *arguments], registry, capture)


def replaced(path, changes):
    with open(path, encoding="latin-1") as file:
        text = file.read()
    for old, new in changes:
        check(old in text, f"{path} has no {old}")
        text = text.replace(old, new)
    return text


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="latin-1") as file:
        file.write(text)
    return path


# Texts that devices and people may store: markup, bytes that are no UTF-8, control characters.
def make_hostile(work):
    evil = "<script>bad()</script>&amp;\"\\\"'\xff\xfe\xed\xa0\x80\x01"
    write(f"{work}/hostile/configuration.reg", replaced(
        f"{examples}/recabling/configuration.reg",
        [('"VETERANS"', '"<b>&\xe9\x02"'), ("VETERAN OLDTIMER        9.0", "<script>bad()</script>&'\xff\x01")]))
    write(f"{work}/hostile/machine.reg", replaced(
        f"{examples}/recabling/machine.reg", [('"Driver"="mptsas"', f'"Driver"="{evil[:24]}"')]))


def element(address, full, drive=None):
    """A descriptor of READ ELEMENT STATUS with volume tag, and of a drive its serial number."""
    tag = (f"T{address:05d}L6" if full else "").ljust(32).encode() + bytes(4)
    text = address.to_bytes(2, "big") + bytes([9 if full else 8]) + bytes(9) + tag
    if drive is not None:
        text += bytes([2, 0, 0, 16]) + drive.ljust(16).encode()
    return text


def page(kind, elements):
    return (bytes([kind, 0x80]) + len(elements[0]).to_bytes(2, "big") + bytes(1) +
            sum(map(len, elements)).to_bytes(3, "big") + b"".join(elements))


# A library that tells what is in it: 40 slots, three of the drives in another order than their
# addresses, and one that is not attached; with nodes.
def make_library(work):
    pages = page(2, [element(100 + n, n % 3 != 0) for n in range(40)])
    pages += page(3, [element(200 + n, False) for n in range(4)])
    pages += page(4, [element(300 + n, n == 1, serial)
                      for n, serial in enumerate(("DRV-0003", "DRV-0001", "DRV-9999", "DRV-0002"))])
    status = (100).to_bytes(2, "big") + (48).to_bytes(2, "big") + bytes(1) + len(pages).to_bytes(3, "big") + pages
    unit = "Scsi Port 0\\Scsi Bus 0\\Target Id {}\\Logical Unit Id 0]\n".format
    nodes = '"NodeNames"="/dev/st{0} /dev/nst{0} /dev/sg{0}"\n'.format
    text = replaced(f"{examples}/new-machine/machine.reg",
                    [(unit(n), unit(n) + nodes(n)) for n in range(1, 5)] +
                    [(unit(0), unit(0) + f'"ElementStatus"=hex:{status.hex(",")}\n')])
    write(f"{work}/library/machine.reg", text)


# More machines than are drawn, some with markup for a name: north many times, and two that are not as these.
def make_estate(work):
    os.makedirs(f"{work}/estate-large")
    for n in range(45):
        name = f"<b>&amp;'{n}" if n % 9 == 0 else f"machine-{n:02}"
        shutil.copy(f"{examples}/estate/north.reg", f"{work}/estate-large/{name}.reg")
    for name in ("east", "south"):
        shutil.copy(f"{examples}/estate/{name}.reg", f"{work}/estate-large")


def browse(page, name, dark):
    """What the measuring script found in the page, and what the browser said in its console."""
    with tempfile.TemporaryDirectory() as profile:
        done = subprocess.run(
            ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
             f"--user-data-dir={profile}", "--window-size=1600,1000", "--dump-dom", "--enable-logging=stderr",
             f"--screenshot={folder}/{name}.png", f"--print-to-pdf={folder}/{name}.pdf", "--no-pdf-header-footer",
             *(["--force-dark-mode"] if dark else []), "file://" + page],
            capture_output=True, timeout=300)
    measured = re.search(r'<pre id="measured"[^>]*>(.*?)</pre>', done.stdout.decode(errors="replace"), re.S)
    console = re.findall(r"CONSOLE.*", done.stderr.decode(errors="replace"))
    return json.loads(html.unescape(measured.group(1))) if measured else None, console


def look(case, work):
    name, registry, capture, options, devices, legend, dark = case
    base = work if name in ("hostile", "library", "estate-large") else examples
    stored = f"{base}/{registry}/configuration.reg" if registry else f"{work}/none.reg"
    page = f"{folder}/{name}.html"
    of_many = options is None
    command = ["estate", f"{base}/{name}", "--force", "--picture"] if of_many else ["picture", "--force", *options]
    done = run([*command, page], stored, f"{base}/{capture}")
    check(done.returncode == (4 if of_many else 0), f"{name}: {done.stderr.decode()}")
    svg = run([*command, "-"], stored, f"{base}/{capture}").stdout
    again = run([*command, "-"] if of_many else command, stored, f"{base}/{capture}").stdout
    check(svg == again, f"{name}: not twice the same")
    xml.dom.minidom.parseString(svg)
    with open(f"{folder}/{name}.svg", "wb") as file:
        file.write(svg)
    with open(page, encoding="utf-8") as file:
        text = file.read()
    check(svg.decode() in text, f"{name}: the HTML does not hold the SVG")
    with open(os.path.join(here, "measure_picture.js"), encoding="utf-8") as file:
        script = file.read()
    measured_page = f"{work}/{name}.html"
    with open(measured_page, "w", encoding="utf-8") as file:
        file.write(text.replace("</title>", f"</title><script>{script}</script>", 1))
    result, console = browse(measured_page, name, dark)
    check(result is not None, f"{name}: the page could not be measured")
    if result is None:
        return
    for wrong in result["wrong"]:
        failures.append(f"{name}: {wrong}")
    check(not console, f"{name}: console: {console}")
    counts = result["counts"]
    check(counts["devices"] == devices, f"{name}: {counts['devices']} devices, not {devices}")
    check(counts["legend"] == legend, f"{name}: {counts['legend']} in the legend, not {legend}")
    check(counts["dark"] == dark, f"{name}: light instead of dark, or the other way round")
    with open(f"{folder}/{name}.pdf", "rb") as file:
        pages = len(re.findall(rb"/Type /Page\s", file.read()))
    check(pages == 1, f"{name}: prints on {pages} pages")
    print(f"{name}: {counts}, {len(text)} bytes", flush=True)


def check_files(work):
    """What is written where, and what is refused."""
    machine = f"{examples}/raids/machine.reg"
    stored = f"{examples}/raids/configuration.reg"

    def result(*arguments):
        done = draw(arguments, stored, machine)
        return done.returncode, done.stderr.decode().strip()

    other = write(f"{work}/other.svg", "<svg>mine</svg>")
    mine = f"{work}/mine.SVG"
    for arguments, status, words in (
            ([mine], 0, ""), ([mine], 0, ""), ([f"{work}/mine.html"], 0, ""), ([f"{work}/mine.html"], 0, ""),
            ([other], 1, "this is no picture that 'devprep picture' wrote"), (["--force", other], 0, ""),
            ([f"{work}/a.png"], 2, "a picture's name ends in .svg or .html"), ([f"{work}/.svg/"], 2, "ends in"),
            (["--follow-identity", mine], 2, "--plan"), ([f"{work}/none/a.svg"], 1, "No such file or directory")):
        got = result(*arguments)
        check(got[0] == status and words in got[1], f"{arguments}: {got}")
    # A capture does not take the place of a picture either.
    environment = dict(os.environ, DEVPREP_REGISTRY=stored, DEVPREP_HARDWARE=machine)
    done = subprocess.run([tool, "capture", mine], env=environment, capture_output=True)
    check(done.returncode == 1, "a capture replaced a picture")


def check_small_change(work):
    """A drive less, configured or not, changes little of the rest."""
    capture = f"{examples}/large-machine/machine.reg"
    with open(capture, encoding="latin-1") as file:
        units = re.split(r"(?m)^(?=\[)", file.read())
    fewer = write(f"{work}/fewer.reg", "".join(unit for unit in units if r"Port 3\Scsi Bus 0\Target Id 30\\"[:-1] not in unit))
    for stored in (f"{examples}/large-machine/configuration.reg", f"{work}/none.reg"):
        before, after = (set(draw([], stored, machine).stdout.decode().split("\n")) for machine in (capture, fewer))
        changed = len(after - before)
        check(0 < changed <= 6, f"a drive less changes {changed} lines")


if shutil.which("chromium") is None:
    sys.exit("The pictures were NOT looked at: there is no chromium. 'scripts/setup test' installs it.")
with tempfile.TemporaryDirectory() as temporary:
    make_hostile(temporary)
    make_library(temporary)
    make_estate(temporary)
    check_files(temporary)
    check_small_change(temporary)
    with concurrent.futures.ThreadPoolExecutor(2) as workers:
        list(workers.map(lambda case: look(case, temporary), CASES))
for failure in failures:
    print(failure)
print(f"{len(CASES)} pictures, {len(failures)} failures; screenshots are in {folder}")
sys.exit(1 if failures else 0)
