#!/usr/bin/env python3
"""Says what was never executed: coverage.py COUNTS OBJECT... -- DIRECTORY...

COUNTS are clang's, merged; OBJECTs are the programs and libraries that counted. A line for each file below
the DIRECTORIES names its lines that were not executed and, as 17t and 17f, the conditions that were never
true or never false. What is compiled more than once counts together. Ends with 1 below 98 % of the lines or
90 % of the branches."""
import collections
import json
import os
import subprocess
import sys

LEAST_LINES, LEAST_BRANCHES = 98, 90


def export(counts, objects, form):
    command = ['llvm-cov', 'export', '-format', form, '-instr-profile', counts, objects[0]]
    command += [word for each in objects[1:] for word in ('-object', each)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def lines_of(lcov):
    """File -> line -> count."""
    files, lines = {}, {}
    for record in lcov.splitlines():
        word, _, value = record.partition(':')
        if word == 'SF':
            lines = files.setdefault(os.path.normpath(value), {})
        elif word == 'DA':
            line, count = value.split(',')[:2]
            lines[int(line)] = int(count)
    return files


def branches_of(document):
    """File -> (line, column, 't' or 'f') -> how often; without what the compiler decides."""
    files = {}
    for file in document['data'][0]['files']:
        name = os.path.normpath(file['filename'])
        arms = files.setdefault(name, collections.Counter())
        source = open(name, encoding='utf-8').read().splitlines() if file['branches'] else []
        for line, column, _, _, true, false, *_ in file['branches']:
            if 'if constexpr' not in source[line - 1]:
                arms[line, column, 't'] += true
                arms[line, column, 'f'] += false
    return files


def ranges(numbers):
    """3 4 5 9 as 3-5 9."""
    runs = []
    for number in sorted(numbers):
        if runs and runs[-1][1] == number - 1:
            runs[-1][1] = number
        else:
            runs.append([number, number])
    return [str(first) if first == last else f'{first}-{last}' for first, last in runs]


def covered(counts):
    return sum(count > 0 for count in counts.values())


def percent(counts):
    done, total = covered(counts), len(counts)
    return f'{done} of {total} ({100 * done / total:.1f} %)'


def main(counts, *rest):
    split = rest.index('--')
    objects, directories = rest[:split], rest[split + 1:]
    inside = tuple(os.path.abspath(each) + os.sep for each in directories)
    lines = lines_of(export(counts, objects, 'lcov'))
    branches = branches_of(json.loads(export(counts, objects, 'text')))
    all_lines, all_arms = {}, {}
    for file in sorted(name for name in lines if name.startswith(inside)):
        arms = branches[file]
        all_lines.update({(file, line): count for line, count in lines[file].items()})
        all_arms.update({(file, arm): count for arm, count in arms.items()})
        missing = [line for line, count in lines[file].items() if count == 0]
        halves = [f'{line}{way}' for (line, _, way), count in sorted(arms.items())
                  if count == 0 and line not in missing]
        if missing or halves:
            print(f'{os.path.relpath(file)}: {" ".join(ranges(missing) + halves)}')
    print(f'lines {percent(all_lines)}, branches {percent(all_arms)}')
    enough = (100 * covered(all_lines) >= LEAST_LINES * len(all_lines) and
              100 * covered(all_arms) >= LEAST_BRANCHES * len(all_arms))
    return 0 if enough else 1


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
