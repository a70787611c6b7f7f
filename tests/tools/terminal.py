#!/usr/bin/env python3
"""Runs a command on a terminal of the given width and prints what it shows there.

usage: terminal.py COLUMNS COMMAND...

What the variable ANSWER holds is typed there; without it there is nobody to be asked.
"""

import fcntl
import os
import pty
import struct
import sys
import termios

master, slave = pty.openpty()
fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, int(sys.argv[1]), 0, 0))
modes = termios.tcgetattr(slave)
modes[3] &= ~termios.ECHO
termios.tcsetattr(slave, termios.TCSANOW, modes)
if os.fork() == 0:
    os.close(master)
    for stream in (0, 1, 2) if "ANSWER" in os.environ else (1, 2):
        os.dup2(slave, stream)
    os.environ["NO_COLOR"] = "1"
    os.execvp(sys.argv[2], sys.argv[2:])
os.close(slave)
if "ANSWER" in os.environ:
    os.write(master, (os.environ["ANSWER"] + "\n").encode())
try:
    while data := os.read(master, 4096):
        sys.stdout.buffer.write(data.replace(b"\r\n", b"\n"))
except OSError:  # all have closed it
    pass
sys.exit(os.waitstatus_to_exitcode(os.wait()[1]))
