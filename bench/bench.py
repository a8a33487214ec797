#!/usr/bin/env python3
"""Measures, and prints one table; see ./dev bench --help."""

import argparse
import json
import pathlib
import sys

sys.dont_write_bytecode = True

import machine
import pictures
import programs
import publish
import table


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./dev bench", description=(
        "Measures the service beside floors of the same run, and prints a table with a ratio in "
        "every row. Leaves build/bench/results.json and pictures beside it."))
    parser.add_argument("--quick", action="store_true", help="fewer rounds, smaller sizes")
    parser.add_argument("--peers", action="store_true",
                        help="install the other means of calling that calls are compared with")
    parser.add_argument("--publish", action="store_true",
                        help="measure everything and make docs/performance.md from it")
    parser.add_argument("--again", action="store_true",
                        help="with the results of the run before: no measuring")
    parser.add_argument("words", metavar="WORD", nargs="*",
                        help="only rows whose name or group holds one of the words")
    arguments = parser.parse_args()
    if arguments.publish and (arguments.quick or arguments.words):
        parser.error("--publish is about everything: it goes with neither --quick nor words")
    return arguments


def measure(arguments):
    results = {"command": " ".join(["./dev bench"] + sys.argv[1:]), "quick": arguments.quick,
               "machine": machine.describe(), "rows": []}
    for run in programs.all_runs():
        results["machine"].update(machine.busier(results["machine"]))
        for row in run(arguments.quick, arguments.words):
            results["rows"].append(table.finish(row))
            print(f"  {row['group']}: {row['name']}, {row['subject']}: {row['ratio']:.2f}",
                  file=sys.stderr)
    return results


def main():
    arguments = parse_arguments()
    output = pathlib.Path("build/bench")
    output.mkdir(parents=True, exist_ok=True)
    file = output / "results.json"
    results = json.loads(file.read_text()) if arguments.again else measure(arguments)
    if not results["rows"]:
        sys.exit("no row has such a name")
    file.write_text(json.dumps(results, indent=1) + "\n")
    pictures.draw_all(results["rows"], output)
    print(table.as_text(results))
    if arguments.publish:
        publish.write(results, pathlib.Path("docs"))


if __name__ == "__main__":
    main()
