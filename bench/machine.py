"""What the measurements were made on, and how busy it was."""

import os
import pathlib
import platform
import time

BUSY = 0.15  # the share of its time that an idle machine may spend on other things


def busy_share(seconds=0.3):
    """How much of the cores' time anybody uses; nothing of ours runs meanwhile."""
    def times():
        words = pathlib.Path("/proc/stat").read_text().split("\n", 1)[0].split()[1:9]
        return [int(word) for word in words]
    before = times()
    time.sleep(seconds)
    spent = [after - earlier for earlier, after in zip(before, times())]
    idle = spent[3] + spent[4]
    return 1 - idle / max(1, sum(spent))


def model():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(": ", 1)[1]
    return platform.machine()


def huge_pages():
    file = pathlib.Path("/sys/kernel/mm/transparent_hugepage/enabled")
    return file.read_text().split("[")[1].split("]")[0] if file.exists() else "none"


def describe():
    return {"model": model(), "cores": os.cpu_count(), "kernel": platform.release(),
            "memory_gib": round(os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / 2**30),
            "huge_pages": huge_pages(), "load": round(os.getloadavg()[0], 2),
            "date": time.strftime("%Y-%m-%d %H:%M"), "busy": 0}


def busier(so_far):
    """The highest share seen before any of the programs."""
    return {"busy": round(max(so_far["busy"], busy_share()), 2)}


def sentence(described):
    return ("{model}, {cores} cores, {memory_gib} GiB, Linux {kernel}, huge pages: {huge_pages}, "
            "load {load}, {date}").format(**described)


def warning(described):
    if described["busy"] <= BUSY:
        return ""
    return (f"The machine was busy with other things ({described['busy']:.0%} of its time): "
            "times and ratios are not to be relied on.")
