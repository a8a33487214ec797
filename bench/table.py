"""The rows as a table, for a terminal and for Markdown."""

import machine

GROUPS = {  # what the floor is
    "call": "round trip of a call; floor: the same bytes each way over a raw unix socket (and the "
            "same file written); for VERBOSE lines, the call without them",
    "clients": "time for each call with so many clients at once; floor: as many on raw sockets, a "
               "thread for each",
    "queue": "one message, or one queue; floor: memcpy of the bytes; "
             "the descriptor duplicated, its memory mapped, written to once, and both let go",
    "transfer": "request_read of bytes that wait; floor: the same bytes copied and written once, by "
                "way of fresh (calloc) or warm memory",
    "instructions": "instructions of one call through proxy and parcels; floor: the method called "
                    "on the object itself",
    "system calls": "system calls of one call, client and service together; floor: those nobody "
                    "could do without",
    "put": "lumctl put, start-up included; floor: cp of the same file",
    "removal": "lumctl rm of a tree; floor: rm -rf of the same tree",
}
COUNTED = ("instructions", "system calls")  # all others are microseconds


def kind(row):
    return row["group"].split(",")[0]


def finish(row):
    row["ratio"] = row["value"] / row["floor"]
    return row


def duration(microseconds):
    for limit, factor, unit in ((1, 1e3, "ns"), (1e3, 1, "us"), (1e6, 1e-3, "ms")):
        if microseconds < limit:
            return f"{microseconds * factor:.3g} {unit}"
    return f"{microseconds * 1e-6:.3g} s"


def quantity(row, field):
    if field not in row:
        return ""
    return f"{row[field]:,.10g}" if kind(row) in COUNTED else duration(row[field])


def remark(row):
    if "calls_per_second" in row:
        return (f"{row['calls_per_second']:,.0f} calls/s, p50 {duration(row['p50'])}, "
                f"max {duration(row['max'])}, slowest client {row['fairness']:.2f} of the fastest")
    if "client_faults" in row:
        return f"page faults: lumctl {row['client_faults']:,.0f}, service {row['service_faults']:,.0f}"
    if "beyond_floor" in row:
        return f"{row['beyond_floor']:,} beyond the floor"
    if "service" in row:
        return "; ".join(f"{end}: " + ", ".join(
            call if count == 1 else f"{call} {count:g}" for call, count in row[end].items())
            for end in ("client", "service"))
    if "size" in row and row["value"] > 10 and "attach" not in row["name"]:
        return f"{row['size'] / row['value'] / 1000:.2f} GB/s"
    return ""


def cells(row):
    name = row["name"] if row["subject"] == "this" else f"    {row['subject']}"
    return [name, quantity(row, "value"), quantity(row, "p99"), quantity(row, "floor"),
            f"{row['ratio']:.2f}", remark(row)]


HEAD = ["", "median", "p99", "floor", "ratio", ""]


def groups(rows):
    return list(dict.fromkeys(row["group"] for row in rows))


def as_text(results):
    rows = results["rows"]
    line = "{:<58}{:>10}{:>10}{:>10}{:>7}  {}".format
    lines = [machine.sentence(results["machine"]), machine.warning(results["machine"])]
    lines = [text for text in lines if text] + [line(*HEAD).rstrip()]
    for group in groups(rows):
        lines += ["", f"{group} -- {GROUPS[group.split(',')[0]]}"]
        lines += [line(*cells(row)).rstrip() for row in rows if row["group"] == group]
    return "\n".join(lines)


def as_markdown(rows):
    lines = ["| " + " | ".join(HEAD) + " |", "|---|--:|--:|--:|--:|---|"]
    for row in rows:
        name, *others = cells(row)
        lines.append("| " + " | ".join([name.replace("    ", "&emsp;"), *others]) + " |")
    return "\n".join(lines)
