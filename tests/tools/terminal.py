#!/usr/bin/env python3
"""Runs a command on a terminal of the given width and prints what it shows there.

usage: terminal.py COLUMNS COMMAND...
"""

import fcntl
import os
import pty
import struct
import sys
import termios

master, slave = pty.openpty()
fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, int(sys.argv[1]), 0, 0))
if os.fork() == 0:
    os.close(master)
    for stream in (1, 2):
        os.dup2(slave, stream)
    os.environ["NO_COLOR"] = "1"
    os.execvp(sys.argv[2], sys.argv[2:])
os.close(slave)
try:
    while data := os.read(master, 4096):
        sys.stdout.buffer.write(data.replace(b"\r\n", b"\n"))
except OSError:  # all have closed it
    pass
sys.exit(os.waitstatus_to_exitcode(os.wait()[1]))
