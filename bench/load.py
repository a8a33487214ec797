#!/usr/bin/env python3
"""Many clients at once, and what the connection beyond each limit is told; see ./dev load --help."""

import argparse
import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True

import machine
import programs
from table import duration

OTHER_USERS = (65534, 65533)  # whom root may borrow connections from
MOST_CLIENTS = 400            # of one user, with room for others


def clients(text):
    if not text.isdecimal() or not 1 <= int(text) <= MOST_CLIENTS:
        raise argparse.ArgumentTypeError(f"a number from 1 to {MOST_CLIENTS}, not '{text}'")
    return text


def print_load(counts):
    rows = programs.rows_of([programs.BIN / "load_bench", "--clients"], False, counts)
    line = "{:>8}{:>12}{:>10}{:>10}{:>10}{:>10}{:>10}  {}".format
    print(line("clients", "calls/s", "p50", "p99", "p99.9", "max", "fairness", "(raw sockets: "
               "calls/s, p99, fairness)"))
    for row in rows:
        times = [duration(row[field]) for field in ("p50", "p99", "p99.9", "max")]
        print(line(f"{row['clients']:.0f}", f"{row['calls_per_second']:,.0f}", *times,
                   f"{row['fairness']:.2f}", f"({1e6 / row['floor']:,.0f}, "
                   f"{duration(row['floor_p99'])}, {row['floor_fairness']:.2f})"))


@contextlib.contextmanager
def service():
    """The real service in a root of its own, whose socket everybody may connect to."""
    with tempfile.TemporaryDirectory() as parent:
        os.chmod(parent, 0o755)
        root = pathlib.Path(parent) / "root"
        launcher = programs.BIN / "lumvndhal-root"
        subprocess.run([launcher, "--new", root], check=True, stdout=subprocess.DEVNULL)
        process = subprocess.Popen([launcher, "--quiet", "--root", root, "--",
                                    programs.BIN / "vendor.tav.lumvndhal_aidl-service"],
                                   stderr=subprocess.DEVNULL)
        sockets = root / "dev/socket/binder"
        try:
            while process.poll() is None and not list(sockets.glob("*")):
                time.sleep(0.02)
            for path in [root, root / "dev", root / "dev/socket", sockets]:
                path.chmod(0o755)
            for path in sockets.glob("*"):
                path.chmod(0o777)
            yield root
        finally:
            process.terminate()
            process.wait()


def hold(root, count, user=None):
    """A process that holds connections; with it how many it got, and what it said."""
    environment = dict(os.environ, ANDROID_DEVICE_ROOT=str(root), ANDROID_LOG_TAGS="*:w")
    process = subprocess.Popen([programs.BIN / "load_bench", "--connections", str(count)],
                               env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True, user=user)
    return process, int(process.stdout.readline())


def release(process):
    """Ends it, and returns the last line that it said on standard error."""
    said = process.communicate()[1].splitlines()
    return said[-1].split("default: ")[-1] if said else "(nothing)"


def tell(limit, granted, process):
    print(f"{limit:<24}{granted:>6}  {release(process)}")


def print_limits():
    print(f"\n{'connections':<24}{'got':>6}  what the next one was told (it gets no proxy)")
    with service() as root:
        process, got = hold(root, 10000)
        tell("of one process", got, process)
        time.sleep(0.5)
        holders = [hold(root, 200) for _ in range(2)]
        process, more = hold(root, 10000)
        tell("of one user", sum(got for _, got in holders) + more, process)
        if os.geteuid() != 0:
            print("of all users: not tried, for that takes being root")
        else:
            for user in OTHER_USERS * 2:
                holders.append(hold(root, 200, user))
            process, more = hold(root, 10000, OTHER_USERS[0] - 5)
            tell("of all users", sum(got for _, got in holders) + more, process)
        for process, _ in holders:
            release(process)


def main():
    parser = argparse.ArgumentParser(prog="./dev load", description=(
        "Lets clients call at once and tells throughput, waiting times and fairness (the calls of "
        "the slowest client for each of the fastest one's), then what the connection beyond each "
        "limit gets."))
    parser.add_argument("clients", metavar="CLIENTS", nargs="*", type=clients,
                        help="how many (default: 1 4 16 64 200)")
    arguments = parser.parse_args()
    described = dict(machine.describe(), busy=round(machine.busy_share(), 2))
    print(machine.sentence(described), machine.warning(described), sep="\n")
    print_load(arguments.clients or ["1", "4", "16", "64", "200"])
    print_limits()


if __name__ == "__main__":
    main()
