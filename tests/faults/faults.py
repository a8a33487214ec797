#!/usr/bin/env python3
"""Lets each system call of the service fail once, with strace, and looks at what its client is told.
    faults.py DIRECTORY-OF-THE-PROGRAMS [METHOD...]"""
import collections
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time

BIN = pathlib.Path(sys.argv[1]).resolve()
SERVICE = BIN / "vendor.tav.lumvndhal_aidl-service"
ERRORS = {"openat": "EMFILE", "write": "ENOSPC", "mkdir": "EACCES", "accept4": "EMFILE", "mmap": "ENOMEM",
          "clone3": "EAGAIN", "sendto": "EPIPE", "sendmsg": "EPIPE", "recvmsg": "ECONNRESET", "unlink": "EACCES"}
CANNOT_FAIL = ("futex exit exit_group rseq restart_syscall rt_sigprocmask set_robust_list getpid gettid umask "
               "rt_sigtimedwait")
CONTENT = (bytes(range(1, 128)) * 80)[:10000]  # valid UTF-8, as statistics have to be, and so is their length
TOLD = {0: "done", 1: "refused", 3: "not reached"}
work = pathlib.Path(tempfile.mkdtemp())
root, log, source, trace = work / "root", work / "log", work / "source", work / "root/data/trace"
dropbox = root / "data/vendor/lum"
statistics = dropbox / "shared/1503/nwstats.tmp"
failures = 0

def outcome(words, path):
    """strace does not write the bytes that it says are written: without them the file is whole."""
    if not path.is_file():
        return "whole" if path.exists() != (words[0] == "rm") else "gone"
    found = path.read_bytes()
    return "whole" if found in (CONTENT, CONTENT[3:]) else f"{len(found)} bytes"

# The words for lumctl, what they make or remove, and what is promised: that what is told to be done is whole (a removal
# takes what it can, the write of statistics is not looked at, a fact that cannot be read has a placeholder), and that
# what is refused has a line in the log (a directory has none).
METHODS = {
    "configure, request_read": (["put", "--via", "queue", source, "/f"], dropbox / "f", "whole line"),
    "get_vnd_data": (["version"], dropbox, "line"),
    "set_vnd_data": (["netstats", source], statistics, "line"),
    "update_vendor_dropbox, create": (["mkdir", "/d"], dropbox / "d", "whole"),
    "update_vendor_dropbox, remove": (["rm", "/tree"], dropbox / "tree", ""),
    "write_data_to_vendor_dropbox": (["put", "--via", "call", source, "/f"], dropbox / "f", "whole line"),
}

def prepare():
    shutil.rmtree(dropbox)
    (dropbox / "tree/sub").mkdir(parents=True)
    (dropbox / "tree/sub/f").touch()
    statistics.parent.mkdir(parents=True)
    source.write_bytes(CONTENT)

def lumctl(*words):
    return subprocess.run(["timeout", "20", BIN / "lumctl", "--root", root, *words], capture_output=True).returncode

def start(*before):
    process = subprocess.Popen([BIN / "lumvndhal-root", "--quiet", "--root", root, "--", *before, SERVICE],
                               stderr=log.open("w"))
    until(lambda: process.poll() is not None or lumctl("ping", "-c", "1") == 0)
    return process

def end(process):
    process.terminate()
    process.wait()

def until(condition, seconds=3.0):
    last = time.monotonic() + seconds
    while not condition() and time.monotonic() < last:
        time.sleep(0.01)
    return condition()

def service_pid():
    with socket.socket(socket.AF_UNIX) as client:
        os.chdir(root / "dev/socket/binder")
        client.connect(next(pathlib.Path(".").glob("*:default")).name)
        return int.from_bytes(client.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12)[:4], sys.byteorder)

def holdings(pid):
    return [len(os.listdir(f"/proc/{pid}/{what}")) for what in ("fd", "task")]

def is_traced(pid):
    return all("TracerPid:\t0" not in each.read_text() for each in pathlib.Path(f"/proc/{pid}/task").glob("*/status"))

def traced(pid, words, *inject):
    """What the call is told while the service is traced."""
    strace = subprocess.Popen(["strace", "-f", "-qq", "-o", trace, "-p", str(pid), *inject], stderr=subprocess.DEVNULL)
    until(lambda: is_traced(pid))
    status = lumctl(*words)
    strace.terminate()
    strace.wait()
    return status

def calls_in_trace(begin=""):
    """Each system call, with how many of its kind its thread has made before and with it."""
    counts, calls, begun = collections.Counter(), [], not begin
    for thread, call in re.findall(r"^(?:(\d+) +)?(\w+)\(", trace.read_text(), re.M):
        counts[thread, call] += 1
        begun = begun or call == begin
        if begun and call not in CANNOT_FAIL.split() and (call, counts[thread, call]) not in calls:
            calls.append((call, counts[thread, call]))
    return calls

def kinds(call):
    return [f"error={ERRORS.get(call, 'EIO')}"] + (["error=EINTR", "retval=3"] if call == "write" else [])

def row(method, call, number, kind, told, state, broken):
    global failures
    failures += bool(broken)
    verdict = broken or ("no visible effect" if told == 0 and state == "whole" else "as told")
    print(f"{method:<30} {call + ' ' + str(number):<14} {kind:<17} {TOLD.get(told, told):<12} {state:<8} {verdict}",
          flush=True)

def broken_rule(method, told, state, said, pid, before, call):
    words, path, promises = METHODS[method]
    if told not in TOLD:
        return "NO SUCH ANSWER"
    if told == 0 and "whole" in promises and state != "whole":
        return "SAID TO BE DONE"
    if told == 1 and "line" in promises and not re.search(r"^E/", said, re.M):
        return "REFUSED WITHOUT A LINE"
    if state not in ("whole", "gone") and "whole" in promises:
        return "A PART IS LEFT"
    if words[0] == "rm":
        path.mkdir(exist_ok=True)  # lumctl refuses to remove what is not there
    if lumctl(*words) != 0 or outcome(words, path) != "whole":
        return "THE NEXT CALL FAILS"
    if call not in ("close", "munmap") and not until(lambda: holdings(pid) <= before):  # strace keeps those back
        return f"LEFT: {before} before, {holdings(pid)} after"
    return ""

def try_method(method):
    words, path, _ = METHODS[method]
    process = start()
    prepare()
    pid = service_pid()
    if lumctl(*words) != 0 or prepare() or traced(pid, words) != 0:
        sys.exit(f"{method} does not succeed without a fault")
    calls = calls_in_trace()
    for call, number, kind in [(*each, kind) for each in calls for kind in kinds(each[0])]:
        prepare()
        before = holdings(pid)
        written = log.stat().st_size
        told = traced(pid, words, "-e", f"inject={call}:{kind}:when={number}")
        if "(INJECTED" in trace.read_text():
            state = outcome(words, path)
            row(method, call, number, kind, told, state,
                broken_rule(method, told, state, log.read_text()[written:], pid, before, call))
    end(process)

def try_registering():
    strace = ["strace", "-D", "-qq", "-o", "/data/trace"]  # -D: the launcher's signals go to the service
    end(start(*strace))
    for call, number in calls_in_trace("umask"):
        process = start(*strace, "-e", f"inject={call}:{kinds(call)[0]}:when={number}")
        ended = process.poll()
        broken = "" if ended is None and lumctl("ping") == 0 or ended == 1 and log.read_text() else "NEITHER"
        row("registering", call, number, kinds(call)[0], 0 if ended is None else "ended",
            "whole" if ended is None else "gone", broken)
        end(process)

try:
    subprocess.run([BIN / "lumvndhal-root", "--new", root, "--sample"], check=True, stdout=subprocess.DEVNULL)
    print(f"{'':<30} {'call':<14} {'failure':<17} {'told':<12} {'then':<8} verdict")
    for name in [*METHODS, "registering"]:
        if any(word in name for word in sys.argv[2:] or [""]):
            try_registering() if name == "registering" else try_method(name)
finally:
    os.chdir("/")
    shutil.rmtree(work)
sys.exit(f"{failures} rules broken" if failures else 0)
