#!/usr/bin/env python3
"""A stand-in for `codex app-server --listen stdio://` with scripted behaviours.

Usage: fake_codex.py SCENARIO [RESULT_FILE] -- app-server --listen stdio://

It speaks the app server's protocol: newline-delimited JSON objects on standard
input and output, answering "initialize" (id 1) and "account/rateLimits/read"
(id 2). RESULT_FILE holds the JSON "result" of the rate-limit answer. Every
line received is appended to $FAKE_CODEX_LOG when that is set, and the pid of
this process (and of any helper it starts) to $FAKE_CODEX_PIDS.
"""
import json
import os
import signal
import subprocess
import sys
import time

DEFAULT_RESULT = {
    "rateLimits": {
        "limitId": "codex",
        "primary": {"usedPercent": 42.0, "windowDurationMins": 300, "resetsAt": 1767225600},
        "secondary": {"usedPercent": 13.0, "windowDurationMins": 10080, "resetsAt": 1767600000},
        "credits": {"hasCredits": False, "unlimited": False, "balance": None},
        "planType": "pro",
    }
}


def note_pid(pid):
    path = os.environ.get("FAKE_CODEX_PIDS")
    if path:
        with open(path, "a") as f:
            f.write(f"{pid}\n")


def send(*messages, chunks=1, pause=0.0):
    data = b"".join(json.dumps(m, separators=(",", ":")).encode() + b"\n" for m in messages)
    size = max(1, len(data) // chunks)
    pieces = [data[i:i + size] for i in range(0, len(data), size)]
    for piece in pieces:
        os.write(1, piece)
        if pause:
            time.sleep(pause)


def notification(name):
    return {"method": name, "params": {"status": "disabled"}}


def main():
    scenario = sys.argv[1]
    result_file = sys.argv[2] if len(sys.argv) > 2 and sys.argv[2] != "--" else None
    result = DEFAULT_RESULT
    if result_file:
        with open(result_file) as f:
            loaded = json.load(f)
        result = DEFAULT_RESULT if loaded is None else loaded
    note_pid(os.getpid())

    awkward = scenario == "awkward"
    if awkward:
        # Far more than a pipe holds, before answering anything.
        os.write(2, b"e" * (4 * 1024 * 1024))
    if scenario == "grandchild":
        # A helper in our process group that ignores SIGTERM.
        helper = subprocess.Popen(
            [sys.executable, os.path.abspath(__file__), "sleeper"],
            preexec_fn=lambda: signal.signal(signal.SIGTERM, signal.SIG_IGN))
        note_pid(helper.pid)
    if scenario == "sleeper":
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        time.sleep(300)
        return

    log = os.environ.get("FAKE_CODEX_LOG")
    for raw in sys.stdin.buffer:
        if log:
            with open(log, "ab") as f:
                f.write(raw)
        message = json.loads(raw)
        ident = message.get("id")
        method = message.get("method")
        if method == "initialize":
            answer = {"id": 1, "result": {"userAgent": "fake/1.0", "platformOs": "linux"}}
            if awkward:
                send(notification("configWarning"), notification("remoteControl/status/changed"))
                send({"id": "1", "result": {}})  # a string id is no answer
                send(answer, chunks=3, pause=0.05)  # one message in three writes
            else:
                send(answer)
        elif method == "account/rateLimits/read":
            answer = {"id": 2, "result": result}
            if scenario == "usage-error":
                answer = {"error": {"code": -32600, "message": "codex account authentication required"}, "id": 2}
            if awkward:
                os.write(1, b"{this is not json\n")
                send(answer, notification("account/updated"))  # two messages in one write
            else:
                send(answer)
        elif ident is not None:
            send({"id": ident, "error": {"code": -32601, "message": "unknown method"}})
    # Standard input closed: leave as the real server does.


if __name__ == "__main__":
    main()
