#!/usr/bin/env python3
"""A stand-in for `claude /usage --ax-screen-reader --safe-mode` on a terminal.

Usage: fake_claude.py SCENARIO [DELAY_SECONDS] -- /usage --ax-screen-reader --safe-mode

It draws what Claude Code draws (escape sequences, redraws, progress bars) on
its terminal and reads the keys typed at it in raw mode, as Claude Code does.
It appends one JSON line describing how it was started (arguments, folder,
environment, terminal) and then one line per chunk of typed bytes to
$FAKE_CLAUDE_LOG, and its pid to $FAKE_CLAUDE_PIDS.
"""
import json
import os
import select
import signal
import sys
import termios
import time
import tty

ESC = "\x1b"


def log(entry):
    path = os.environ.get("FAKE_CLAUDE_LOG")
    if path:
        with open(path, "a") as f:
            f.write(json.dumps(entry) + "\n")


def draw(text):
    data = text.encode() if isinstance(text, str) else text
    while data:
        written = os.write(1, data)
        data = data[written:]


def usage_screen():
    bar = ESC + "[38;5;75m" + "█" * 15 + "▌" + ESC + "[39m"
    return (ESC + "]0;claude" + "\x07" + ESC + "[2J" + ESC + "[H"
            + " ✻ Welcome to Claude Code\r\n"
            + "  Opus 4.1 · Claude Max · someone's Organization\r\n\r\n"
            + ESC + "[1m  Current session" + ESC + "[22m\r\n"
            + "  " + bar + " " * 30 + "31% used\r\n"
            + "  Resets 2:59pm (Europe/Berlin)\r\n\r\n"
            + ESC + "[1m  Current week (all models)" + ESC + "[22m\r\n"
            + "  ████▌" + ESC + "[10C" + "9% used\r\n"
            + "  Resets Nov 20 at 3pm (Europe/Berlin)\r\n\r\n"
            + "  Current week (Opus)\r\n  ▌ 2% used\r\n\r\n"
            + ESC + "[2K  Esc to cancel\r\n")


def wait_for_keys(until=b"\x03", seconds=300.0):
    """Records typed bytes; returns once `until` arrives (never, if None)."""
    deadline = time.time() + seconds
    while time.time() < deadline:
        ready, _, _ = select.select([0], [], [], 0.1)
        if not ready:
            continue
        try:
            data = os.read(0, 1024)
        except OSError:
            return
        if not data:
            return
        log({"typed": data.decode("latin-1")})
        if until and until in data:
            return


def describe_start():
    try:
        columns, rows = os.get_terminal_size(0)
    except OSError:
        columns, rows = 0, 0
    try:
        os.close(os.open("/dev/tty", os.O_RDWR))
        controlling = True
    except OSError:
        controlling = False
    log({
        "argv": sys.argv[sys.argv.index("--") + 1:] if "--" in sys.argv else [],
        "cwd": os.getcwd(),
        "pwd": os.environ.get("PWD"),
        "apiKey": "ANTHROPIC_API_KEY" in os.environ,
        "authToken": "ANTHROPIC_AUTH_TOKEN" in os.environ,
        "keptVariable": os.environ.get("FAKE_CLAUDE_KEPT"),
        "columns": columns,
        "rows": rows,
        "terminal": all(os.isatty(fd) for fd in (0, 1, 2)),
        "controllingTerminal": controlling,
        "sessionLeader": os.getsid(0) == os.getpid(),
    })


def main():
    scenario = sys.argv[1]
    delay = float(sys.argv[2]) if len(sys.argv) > 2 and sys.argv[2] != "--" else 0.0
    path = os.environ.get("FAKE_CLAUDE_PIDS")
    if path:
        with open(path, "a") as f:
            f.write(f"{os.getpid()}\n")
    describe_start()
    tty.setraw(0, termios.TCSANOW)
    draw("[Screen Reader Mode: on via flag]\r\n" + ESC + "[?2004h")
    time.sleep(delay)

    if scenario == "screen":
        draw(usage_screen())
        wait_for_keys()
    elif scenario == "trust":
        draw("Permission Required: Accessing workspace:\r\n  " + os.getcwd() + "\r\n\r\nEnter y/n: ")
        wait_for_keys(until=b"y", seconds=30.0)
        draw("\r\n" + usage_screen())
        wait_for_keys()
    elif scenario == "signed-out":
        draw("Welcome to Claude Code\r\n" + ESC + "[31mNot logged in" + ESC + "[0m · Please run /login\r\n")
        sys.exit(1)
    elif scenario == "stubborn":
        # Ignores every way to stop; asks about another folder, then greets a
        # home without Claude Code's settings, offline, and stays.
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.SIG_IGN)
        draw("Permission Required: Accessing workspace:\r\n  /home/someone/elsewhere\r\n\r\nEnter y/n: ")
        draw(ESC + "7" + ESC + "8Welcome to Claude Code " + ESC + "[2mv2.1.329" + ESC + "[22m\r\n"
             + "Unable to connect to Anthropic services\r\n")
        wait_for_keys(until=None)
    elif scenario == "flood":
        # Far more than the probe keeps, redrawn over and over, then the screen
        # amid invalid UTF-8.
        frame = (ESC + "[H" + ESC + "[2J" + "spinner ✻ thinking " * 40 + "\r\n") * 50
        for _ in range(60):
            draw(frame)
        draw(b"\xff\xfe broken \xe2\x96\r\n")
        draw(usage_screen().encode() + b"\xc3")
        wait_for_keys()
    else:
        sys.exit(f"unknown scenario {scenario}")


if __name__ == "__main__":
    main()
