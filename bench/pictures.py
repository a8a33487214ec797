"""Draws the results as SVG, with gnuplot."""

import subprocess

COLOURS = ("#1b6ca8", "#d1495b", "#66a182", "#edae49", "#8d96a3", "#2e4057")
HEAD = """set terminal svg noenhanced size {width},{height} font 'sans-serif,14' background '#ffffff'
set output '{file}'
set grid ytics lc rgb '#dddddd'
set border 3 lc rgb '#555555'
set tics nomirror
set key outside top center horizontal
"""


def draw(file, script, width=800, height=460):
    text = HEAD.format(file=file, width=width, height=height) + script
    subprocess.run(["gnuplot"], input=text, text=True, check=True)


def block(name, lines):
    return f"${name} << EOD\n" + "\n".join(lines) + "\nEOD\n"


def curve(name, title, colour, using="1:2", dashed=False):
    style = "dt 2 pt 6" if dashed else "dt 1 pt 7"
    return (f"${name} using {using} with linespoints lw 2 {style} ps 0.7 "
            f"lc rgb '{COLOURS[colour]}' title '{title}'")


def draw_calls(rows, file):
    """Small calls of every means, as multiples of the raw socket."""
    rows = [row for row in rows if row["group"] == "call" and "write" not in row["name"]
            and "VERBOSE" not in row["name"]]
    names = list(dict.fromkeys(row["name"] for row in rows))
    subjects = list(dict.fromkeys(row["subject"] for row in rows))
    if not rows:
        return
    ratio = {(row["name"], row["subject"]): row["ratio"] for row in rows}
    lines = ['"{}" '.format(name.replace(", unknown word", "").replace(", ", "\\n")) +
             " ".join(f"{ratio.get((name, subject), 0):.3f}" for subject in subjects)
             for name in names]
    titles = {"this": "this service"}
    bars = ", ".join(
        f"$calls using {i + 2}:xtic(1) lc rgb '{COLOURS[i]}' title '{titles.get(subject, subject)}'"
        for i, subject in enumerate(subjects))
    labels = ", ".join(
        f"$calls using ($0+{(i - (len(subjects) - 1) / 2) / (len(subjects) + 1):.3f}):{i + 2}:"
        f"(sprintf('%.2f', ${i + 2})) with labels offset 0,0.6 font ',11' notitle"
        for i in range(len(subjects)))
    draw(file, block("calls", lines) + f"""set bmargin 4
set style data histograms
set style histogram clustered gap 1
set style fill solid
set yrange [0:*]
set ylabel 'times the floor'
set title 'Round trip of a small call: a raw unix socket is 1'
set arrow from graph 0, first 1 to graph 1, first 1 nohead lc rgb '#333333' dt 2 front
plot {bars}, {labels}
""")


def draw_bulk(rows, file):
    """Time to store a file by its size, beside cp; both axes logarithmic."""
    systems = list(dict.fromkeys(row["group"] for row in rows if row["group"].startswith("put")))
    if not systems:
        return
    script, curves = "", []
    for i, group in enumerate(systems):
        where = group.split(", ")[1]
        script += block(f"put{i}", [f"{row['size']} {row['value'] / 1e3} {row['floor'] / 1e3}"
                                    for row in rows if row["group"] == group])
        curves.append(curve(f"put{i}", f"lumctl put, {where}", i))
        curves.append(curve(f"put{i}", f"cp, {where}", i, "1:3", dashed=True))
    draw(file, script + f"""set logscale xy
set xtics ('10 KiB' 10240, '1 MiB' 2**20, '64 MiB' 2**26, '1 GiB' 2**30)
set ytics ('1 ms' 1, '10 ms' 10, '100 ms' 100, '1 s' 1000, '10 s' 10000)
set xrange [6000:2e9]
set title 'Storing a file, start-up of the command included'
plot {', '.join(curves)}
""")


def draw_clients(rows, file):
    """Throughput above, waiting times below, by the number of clients."""
    rows = [row for row in rows if row["group"] == "clients"]
    if not rows:
        return
    fields = ("clients", "calls_per_second", "floor", "p50", "p99", "max", "floor_p99")
    lines = [" ".join(str(row[field]) for field in fields) for row in rows]
    ticks = ", ".join(f"{row['clients']:.0f}" for row in rows)
    draw(file, block("c", lines) + f"""set logscale x 2
set xtics ({ticks})
set multiplot layout 2,1 title 'Clients that call at once'
set ylabel 'calls a second'
set yrange [0:*]
set format y '%.0f'
plot {curve('c', 'this service', 0)}, {curve('c', 'raw sockets', 4, '1:(1e6/$3)', dashed=True)}
set ylabel 'time for a call'
set xlabel 'clients'
set logscale y
set yrange [*:*]
set ytics ('10 us' 10, '100 us' 100, '1 ms' 1000, '10 ms' 1e4, '100 ms' 1e5, '1 s' 1e6)
plot {curve('c', 'max', 1, '1:6')}, {curve('c', 'p99', 3, '1:5')}, \\
    {curve('c', 'p50', 0, '1:4')}, {curve('c', 'raw sockets, p99', 4, '1:7', dashed=True)}
unset multiplot
""", height=640)


PICTURES = {"calls": draw_calls, "bulk": draw_bulk, "clients": draw_clients}


def draw_all(rows, directory):
    for name, draw_one in PICTURES.items():
        draw_one(rows, directory / f"performance-{name}.svg")
