"""Runs the measuring programs, each inside a device root of its own, and yields their rows."""

import collections
import json
import os
import pathlib
import re
import subprocess
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
BIN = TOP / "build/release/bin"
GIB = 2**30

METHODS = {  # and the system calls, at both ends together, that nobody could do without
    "configure": (8, "two messages sent and received, memory mapped and unmapped, "
                     "the descriptor duplicated and closed"),
    "request_read": (7, "two messages sent and received, a file opened, written and closed"),
    "get_vnd_data": (4, "two messages sent and received"),
    "set_vnd_data": (4, "two messages sent and received"),
    "update_vendor_dropbox": (5, "two messages sent and received, a directory made"),
    "write_data_to_vendor_dropbox": (7, "as request_read"),
}


def in_root(command, memory=0, on_disk=False):
    """The command's output; its dropbox lies in so much memory, or on the disk of this project."""
    launcher = [BIN / "lumvndhal-root", "--quiet", "--empty"]
    if memory:
        launcher += ["--with", "bubblewrap", "--tmpfs", f"/data/vendor/lum:{memory}"]
    environment = dict(os.environ, ANDROID_LOG_TAGS="*:s")
    if on_disk:
        environment["TMPDIR"] = str(TOP / "build/bench")
    done = subprocess.run([str(word) for word in [*launcher, "--", *command]], env=environment,
                          stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode:
        sys.exit(f"bench: {' '.join(map(str, command))} ended with status {done.returncode}")
    return done.stdout


def rows_of(command, quick, words, **where):
    options = (["--quick"] if quick else []) + list(words)
    for line in in_root([*command, *options], **where).splitlines():
        yield json.loads(line)


def program(name, *arguments, **where):
    def run(quick, words):
        return rows_of([BIN / f"{name}_bench", *arguments], quick, words, **where)
    return run


def wanted(group, name, words):
    return not words or any(word in f"{group}: {name}" for word in words)


def per_call(count, few=1000):
    """What one call takes of what `count` counts, without starting and ending."""
    return (count(2 * few) - count(few)) / few


def instructions(where):
    def count(calls):
        command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", "--vgdb=no",
                   "--log-fd=1", BIN / "method_bench", where, "collectorsState", calls]
        return int(re.search(r"Collected : (\d+)", in_root(command)).group(1))
    return round(per_call(count))


def instruction_rows(_quick, words):
    group, name = "instructions", "get_vnd_data, 24 characters back, in one process"
    if wanted(group, name, words):
        value, floor = instructions("parcel"), instructions("object")
        yield {"group": group, "name": name, "subject": "this", "value": value, "floor": floor,
               "beyond_floor": value - floor}


def traced_calls(method, calls):
    """How often each system call was made by the client and by the service."""
    trace = in_root(["strace", "-f", "-qq", "-o", "/dev/stdout", BIN / "method_bench", "process",
                     method, calls])
    client = trace.split(None, 1)[0]
    counts = collections.Counter()
    for pid, call in re.findall(r"^(\d+) +(\w+)\(", trace, re.M):
        counts["client" if pid == client else "service", call] += 1
    return counts


def system_call_rows(quick, words):
    for method, (floor, what) in METHODS.items():
        group, calls = "system calls", 10 if quick else 50
        if not wanted(group, method, words):
            continue
        counts = traced_calls(method, 2 * calls)
        counts.subtract(traced_calls(method, calls))
        ends = {end: {call: round(count / calls, 1) for (who, call), count in sorted(counts.items())
                      if who == end and count > calls / 2} for end in ("client", "service")}
        yield {"group": group, "name": method, "subject": "this", "floor": floor, "what": what,
               "value": round(sum(sum(end.values()) for end in ends.values()), 1), **ends}


def all_runs():
    lumctl = BIN / "lumctl"
    return [program("call", memory=GIB // 2), program("load", memory=GIB // 8),
            program("queue"), program("transfer", memory=GIB // 2),
            instruction_rows, system_call_rows,
            program("command", lumctl, memory=4 * GIB), program("command", lumctl, on_disk=True)]
