"""The plots of the page, drawn by gnuplot."""
import subprocess

HEAD = """
set terminal svg size {width},{height} font "sans-serif,13" background "white"
set output "{output}"
set border 3 lc rgb "#888888"
set tics nomirror out textcolor rgb "#333333"
set grid ytics lc rgb "#dddddd" lt 1
set key outside top center horizontal samplen 1
set style fill solid 0.9 noborder
"""
BLUE, ORANGE, GREY, RED = "#2f6db5", "#e08a2c", "#9aa3ad", "#c0392b"


def draw(output, commands, tables, width=720, height=360):
    """`tables` are data blocks by name, lists of rows."""
    blocks = []
    for name, rows in tables.items():
        lines = "\n".join("\t".join(str(field) for field in row) for row in rows)
        blocks.append(f"${name} << END\n{lines}\nEND")
    script = HEAD.format(output=output, width=width, height=height)
    script += 'set datafile separator "\\t"\n' + "\n".join(blocks) + "\n" + commands
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def share(rows, output):
    bauds = sorted({row["baud"] for row in rows})
    of = {(row["baud"], row["registers"]): row for row in rows}
    table = [[baud] + [100 * of[baud, registers]["median"] for registers in (10, 100)]
             + [100 * of[baud, registers]["least"] for registers in (10, 100)] for baud in bauds]
    draw(output, f"""
set style data histograms
set style histogram clustered gap 1.5
set boxwidth 0.9
set xrange [-0.6:2.6]
set yrange [90:101]
set ylabel "% of what the line allows"
set xlabel "baud"
plot $rows using 2:xtic(1) title "10 registers a request" lc rgb "{BLUE}", \\
     $rows using 3 title "100 registers" lc rgb "{ORANGE}", \\
     $rows using ($0-0.143):4:(0.128) with xerrorbars pt -1 lw 2 lc rgb "{RED}" title "at least", \\
     $rows using ($0+0.143):5:(0.128) with xerrorbars pt -1 lw 2 lc rgb "{RED}" notitle
""", {"rows": table})


def silent(rows, output):
    table = [[row["stations"], 100 * row["kept"]] for row in rows if row["what"] == "are silent"]
    draw(output, f"""
set yrange [0:105]
set xrange [-1:31]
set xtics (0,1,3,8,30)
set ylabel "% of its rate alone"
set xlabel "silent stations beside it"
plot 90 with lines dt 2 lw 2 lc rgb "{RED}" title "at least", \\
     $rows using 1:2 with linespoints pt 7 ps 0.8 lw 2 lc rgb "{BLUE}" title "the station that answers"
""", {"rows": table})


def plans(rows, output):
    """`rows`: label, passes a second, whether it is the panel."""
    table = [[label, rate, 1 if is_panel else 0] for label, rate, is_panel in reversed(rows)]
    draw(output, f"""
unset key
unset grid
set grid xtics lc rgb "#dddddd" lt 1
set xrange [0:*]
set yrange [-0.6:{len(table) - 0.4}]
set lmargin 36
set xlabel "passes a second"
plot $rows using (0.5*$2):0:(0.5*$2):(0.35):($3==1?{int(BLUE[1:], 16)}:{int(GREY[1:], 16)}):ytic(1) \\
     with boxxyerrorbars lc rgb variable
""", {"rows": table}, height=90 + 34 * len(table))


def footprint(samples, output):
    table = [[row["exchanges"] / 1000, row["kib"] / 1024] for row in samples]
    draw(output, f"""
unset key
set yrange [0:*]
set offsets graph 0, 0, graph 0.15, 0
set ylabel "resident memory, MiB"
set xlabel "thousand exchanges"
plot $rows using 1:2 with lines lw 2 lc rgb "{BLUE}"
""", {"rows": table}, height=280)
