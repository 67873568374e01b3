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

    if scenario == "exit-early":
        sys.stdin.buffer.readline()
        sys.exit(3)
    if scenario == "endless-line":
        # Output without a line break, for as long as anybody reads it.
        chunk = b"x" * 65536
        while True:
            os.write(1, chunk)
    if scenario == "stderr-flood":
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
        if scenario == "never-answer":
            continue
        if scenario == "slow" and ident is not None:
            time.sleep(6)
        if method == "initialize":
            answer = {"id": 1, "result": {"userAgent": "fake/1.0", "platformOs": "linux"}}
            if scenario == "init-error":
                answer = {"id": 1, "error": {"code": -32600, "message": "not initialised properly"}}
            if scenario == "notifications-first":
                send(notification("configWarning"), notification("remoteControl/status/changed"))
                send({"id": "1", "result": {}})  # a string id is no answer
            if scenario == "split":
                send(answer, chunks=3, pause=0.05)
            elif scenario == "batched":
                send(notification("configWarning"), answer)
            else:
                send(answer)
        elif method == "account/rateLimits/read":
            answer = {"id": 2, "result": result}
            if scenario == "usage-error":
                answer = {"error": {"code": -32600, "message": "codex account authentication required"}, "id": 2}
            if scenario == "usage-error-without-message":
                answer = {"error": {"code": -1}, "id": 2}
            if scenario == "no-result":
                answer = {"id": 2}
            if scenario == "invalid-line":
                os.write(1, b"{this is not json\n")
            if scenario == "split":
                send(answer, chunks=3, pause=0.05)
            elif scenario == "batched":
                send(answer, notification("account/updated"))
            else:
                send(answer)
        elif ident is not None:
            send({"id": ident, "error": {"code": -32601, "message": "unknown method"}})
    # Standard input closed: leave as the real server does.


if __name__ == "__main__":
    main()
