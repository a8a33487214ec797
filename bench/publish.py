"""Makes docs/performance.md and its pictures from results and from performance.md.in."""

import pathlib
import re
import sys

import machine
import pictures
import table

TEMPLATE = pathlib.Path(__file__).with_name("performance.md.in")


def rows_of_kind(results, kind):
    return [row for row in results["rows"] if table.kind(row) == kind]


def row_named(results, name, subject="this"):
    for row in results["rows"]:
        if name in f"{row['group']}: {row['name']}" and row["subject"] == subject:
            return row
    sys.exit(f"bench: there is no row '{name}' to publish")


def section(results, kind):
    rows = rows_of_kind(results, kind)
    if not rows:
        sys.exit(f"bench: there are no rows of '{kind}' to publish")
    return table.as_markdown(rows)


def value(results, field, name):
    row = row_named(results, name)
    number = row[field]
    return f"{number:,.0f}" if number >= 100 else f"{number:.3g}"


def fill(template, results):
    """{{machine}}, {{warning}}, {{command}}, {{table KIND}} or {{FIELD ROW}}."""
    described = results["machine"]
    fixed = {"machine": machine.sentence(described), "command": results["command"],
             "warning": machine.warning(described)}

    def replacement(match):
        words = match.group(1)
        if words in fixed:
            return fixed[words]
        field, name = words.split(" ", 1)
        return section(results, name) if field == "table" else value(results, field, name)
    return re.sub(r"\{\{(.+?)\}\}", replacement, template)


def write(results, directory):
    (directory / "performance.md").write_text(fill(TEMPLATE.read_text(), results))
    pictures.draw_all(results["rows"], directory)
    print(f"{directory}/performance.md and its pictures are made", file=sys.stderr)
