#!/usr/bin/env python3
"""Writes made-up worlds for replay: for each a folder with a stored configuration, its machine, and that
machine after somebody re-cabled it.

usage: make_worlds.py FOLDER COUNT
"""

import os
import random
import sys

PRODUCT = r"HKEY_LOCAL_MACHINE\SOFTWARE\Tamberline\Vaultkeep"
ENGINE = PRODUCT + r"\Base\TapeEngine"
MAP = r"HKEY_LOCAL_MACHINE\HARDWARE\DEVICEMAP\Scsi"
DRIVES = ["ACME    DRIVE           1.00", "ACME    DRIVE-2         1.00", "GEMINI  TWIN            0100"]
CHANGERS = ["ADIC    Scalar 1000     1.00", "ACME    ROBOT           R100", "HP      C1107J          1.00"]
OTHERS = ["DiskPeripheral", "OtherPeripheral", "CdRomPeripheral"]
CODES = {"TapePeripheral": 5, "MediumChangerPeripheral": 17, "DiskPeripheral": 2, "OtherPeripheral": 66,
         "CdRomPeripheral": 258}


def binary(name, data):
    return f'"{name}"=hex:' + ",".join(f"{byte:02x}" for byte in data)


def dword(name, number):
    return f'"{name}"=dword:{number:08x}'


def make_unit(chance):
    kind = chance.randrange(8)
    return {
        "type": "TapePeripheral" if kind < 5 else
                "MediumChangerPeripheral" if kind < 7 else chance.choice(OTHERS),
        "text": chance.choice(DRIVES if kind < 5 else CHANGERS),
        "serial": b"SERIAL-%-5d" % chance.randrange(30) if chance.random() < 0.5 else b"",
        "wwid": b"\x50\x01WWID0" + bytes([65 + chance.randrange(9)]) if chance.random() < 0.3 else b"",
        "answers": chance.random() < 0.75,
    }


def place(chance, units):
    """Every unit at an address of its own, in the order of the addresses."""
    addresses = chance.sample([(p, b, t, l) for p in range(3) for b in range(2) for t in range(8)
                               for l in range(2)], len(units))
    return sorted(zip(addresses, units), key=lambda placed: placed[0])


def machine_text(chance, placed):
    lines = ["REGEDIT4"]
    for port in range(3):
        lines += [f"[{MAP}\\Scsi Port {port}]",
                  '"Driver"="%s"' % ("ql2200" if chance.random() < 0.3 else "sas")]
    for (port, bus, target, lun), unit in placed:
        lines += [f"[{MAP}\\Scsi Port {port}\\Scsi Bus {bus}\\Target Id {target}\\Logical Unit Id {lun}]",
                  f'"Identifier"="{unit["text"]}"', f'"Type"="{unit["type"]}"']
        if unit["answers"]:
            lines.append(binary("InquiryData", bytes(8) + unit["text"].encode()))
        if unit["serial"]:
            lines.append(binary("UnitSerialNumberPage", b"\0\x80\0\x0c" + unit["serial"]))
        if unit["wwid"]:
            lines.append(binary("WorldWideId", unit["wwid"]))
    return "\n".join(lines) + "\n"


def numbers(chance, separator=","):
    return separator.join(str(chance.randrange(10)) for _ in range(chance.randrange(1, 5)))


def configuration_text(chance, placed):
    """What an earlier run stored, and a person set up. A group's name sorts before that of its other
    value, so that its text comes first in every registry."""
    lines = ["REGEDIT4"]
    for number, ((port, bus, target, lun), unit) in enumerate(placed):
        lines += [f"[{ENGINE}\\DEVICE{number}]",
                  f'"Info"="board-{port},bus-{bus},scsiid-{target},lun-{lun},type-{CODES[unit["type"]]},'
                  f'{unit["text"]}"',
                  binary("SerialNumber", unit["serial"].ljust(32, b"\0")),
                  binary("WorldWideID", unit["wwid"].ljust(8, b"\0"))]
        if unit["type"] == "MediumChangerPeripheral":
            lines.append(f'"ReservedDrives"="{numbers(chance)}"')
            lines.append(dword("DisabledDrives", chance.randrange(8)))
        if chance.random() < 0.5:
            lines.append(dword("ReadShots", chance.randrange(70000)))
        if chance.random() < 0.3:
            lines.append(dword("CleaningTapeSlot", chance.randrange(40)))
    for number in range(chance.randrange(4)):
        text = chance.choice(["TAPE_GROUP," + numbers(chance), "CHANGER_GROUP,%d,1-20" % chance.randrange(10),
                              "raid_changer_group, " + numbers(chance, ",1-9,") + ",1-9"])
        lines += [f"[{ENGINE}\\GROUP{number}]", f'"A GROUP"="{text}"',
                  dword("GROUP_ATTRIBUTE", chance.randrange(9))]
    if chance.random() < 0.5:
        record = bytearray(76)
        record[24] = chance.randrange(2)
        lines += [f"[{PRODUCT}\\Products]", binary("P", b"A\0\0\0more"),
                  f"[{PRODUCT}\\ProductsConfigInfo\\65]", dword("Size", 76), binary("Slot_1", record)]
    return "\n".join(lines) + "\n"


def write_world(folder, seed):
    chance = random.Random(seed)
    units = [make_unit(chance) for _ in range(chance.randrange(1, 10))]
    placed = place(chance, units)
    os.makedirs(folder, exist_ok=True)
    texts = {"configuration.reg": configuration_text(chance, placed),
             "machine.reg": machine_text(chance, placed)}
    units[chance.randrange(len(units))] = make_unit(chance)
    units.append(make_unit(chance))
    texts["machine-recabled.reg"] = machine_text(chance, place(chance, units))
    for name, text in texts.items():
        with open(os.path.join(folder, name), "w", encoding="ascii") as file:
            file.write(text)


for world in range(int(sys.argv[2])):
    write_world(os.path.join(sys.argv[1], f"world-{world:03}"), world)
