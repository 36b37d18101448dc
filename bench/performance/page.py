"""Writes the page from what was measured."""
import textwrap
from statistics import median

import footprint
import plans
import plots

NAME = "performance.md"

HEAD = """# Performance

What the panel makes of a serial line, measured on the simulated one: `plcsim --baud` carries every
byte in the time that it takes on the wire, in both directions, and its stations keep the silence
between two frames. `scripts/bench` builds, measures and writes this page and its plots in about 20
minutes; `scripts/bench SECTION` measures one section anew, `scripts/bench --quick` takes a short look
and changes nothing here.

Two programs and the kernel's pseudo-terminal between them have to wake up at the right moment for
each byte, so the machine should be idle. What other work costs shows in the difference between
medians and means; the load average stands beside each command. `chrt --fifo 10` lets both programs go
before other work, though not the kernel's own part.
"""


def percent(share, digits=1):
    return f"{100 * share:.{digits}f} %"


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "\n".join("| " + " | ".join(map(str, line)) + " |" for line in lines) + "\n"


def prose(text):
    """Wrapped as the other pages are."""
    return textwrap.fill(text, 100, break_long_words=False, break_on_hyphens=False) + "\n"


def section(title, command, result, *parts):
    before = "chrt --fifo 10 " if result["realtime"] else ""
    return (f"\n## {title}\n\n`{before}{command}`, load average {result['load']:.1f}\n\n"
            + "\n".join(parts))


def image(name, text):
    return f"![{text}](images/{name}.svg)\n"


def share_section(result, images):
    rows = result["data"]
    plots.share(rows, images / "share.svg")
    return section(
        "Share of what the line allows", "scripts/bench share", result,
        prose("A read takes a silence, the request (8 characters), the station's own silence, and the "
              "reply (5 characters and 2 for each register). A character has 11 bits; the silence is "
              "3.5 characters, 1.75 ms above 19200 baud. No master that keeps the silence does more "
              "reads a second than that allows. The share is that of the median exchange; beside it "
              "the mean, other work of the machine included."),
        table(["baud", "registers a request", "reads a second allowed", "median share",
               "mean", "at least"],
              [[row["baud"], row["registers"], f"{row['limit']:.1f}", percent(row["median"]),
                percent(row["whole"]), percent(row["least"])] for row in rows]),
        image("share", "share of the limit by baud rate and registers a request"),
        prose("What is missing is the time that two programs and the pseudo-terminal take to wake up, "
              "a fixed part of a millisecond for each request: it weighs most where the request is "
              "short and the line fast."))


def silent_section(result, images):
    data = result["data"]
    plots.silent(data["rates"], images / "silent.svg")
    return section(
        "Stations that do not answer", "scripts/bench silent", result,
        prose("One station that answers, read as fast as the line goes (19200 baud, 10 registers), "
              "beside others that do not, for half a minute from the start of the run on. Kept is its "
              "rate of good reads against that without the others."),
        table(["stations beside it", "that", "rate kept", "at least"],
              [[row["stations"], row["what"], percent(row["kept"]), "90 %"]
               for row in data["rates"] if row["stations"] > 0]),
        image("silent", "rate kept against the number of silent stations"),
        prose("From the moment when it is back to its first good reply:"),
        table(["what comes back", "times", "median", "longest", "within"],
              [[row["what"], len(row["times"]), f"{median(row['times']):.1f} s",
                f"{max(row['times']):.1f} s", f"{row['least']} s"] for row in data["returns"]]))


def recording_section(result, _):
    return section(
        "Trace and capture", "scripts/bench recording", result,
        prose("Exchanges a second at 115200 baud, 10 registers each, as a part of those of a run that "
              "writes nothing down; the median of runs taken in turn."),
        table(["written", "rate kept", "at least"],
              [[f"`{row['written']}`", percent(row["kept"]), percent(1 - row["most"])]
               for row in result["data"]]))


def passes(row):
    return 1000 / row["measured"]


def compared(data, project):
    """label, passes a second, whether it is the panel: of everybody who read these variables"""
    rows = [(f"panel, plan {row['plan']}", passes(row), True)
            for row in data["plans"] if row["project"] == project]
    for row in data["libmodbus"]:
        if row["project"] == project:
            silence = "silence kept" if row["pause"] else "no silence"
            rows.append((f"libmodbus, {row['what']}, {silence}", passes(row), False))
    return rows


def plan_rows(data):
    for driver, fastest in zip(data["plans"][::2], data["plans"][1::2]):
        for row in (driver, fastest):
            yield [row["project"], row["plan"], row["requests"], f"{row['predicted']:.1f} ms",
                   percent(row["measured"] / row["predicted"] - 1, 2),
                   f"{passes(row) / passes(driver):.2f}"]


def plans_section(result, images):
    data = result["data"]
    parts = [
        prose("Stations answer after 5 ms. Predicted is what `panel plan` says of a pass, deviation by "
              "how much longer it took on the line (the sum of the medians of its requests; within "
              "3 %); as often is against the driver's own plan, 2.2 at least for the scattered words."),
        table(["variables", "plan", "requests", "predicted", "deviation", "as often"],
              plan_rows(data)),
        prose("libmodbus's own master beside it (`bench/libmodbus_master.cpp`), same variables, 19200 "
              "baud. By itself it sends the next request at once, which the simulated line forgives "
              "and real stations need not: they tell frames apart by the silence. It is shown with "
              "the silence kept as well. Scattered words are best read one by one, which the fastest "
              "plan does; neighbours are not.")]
    for number, project in enumerate(plans.COMPARED):
        rows = compared(data, project)
        plots.plans(rows, images / f"plans{number + 1}.svg")
        base = rows[0][1]
        parts += [f"### {project}\n",
                  table(["master", "passes against the first row"],
                        [[label, f"{rate / base:.2f}"] for label, rate, _ in rows]),
                  image(f"plans{number + 1}", f"passes a second, {project}")]
    return section("Plans, and another master", "scripts/bench plans", result, *parts)


def footprint_section(result, images):
    data = result["data"]
    samples = data["samples"]
    plots.footprint(samples, images / "footprint.svg")
    half = next(row for row in samples if row["exchanges"] >= data["goal"] / 2)
    count = footprint.LINES * footprint.STATIONS * footprint.VARIABLES_PER_STATION
    return section(
        "Memory and processor time", "scripts/bench footprint", result,
        prose(f"{count} variables, {footprint.STATIONS} stations on each of {footprint.LINES} lines, "
              "the values going to /dev/null. As many exchanges as an hour at 19200 baud makes "
              f"({data['goal']}), over lines without timing so that it does not take an hour, the "
              "silence cut to next to nothing."),
        table(["", ""], [
            ["resident memory at the end", f"{samples[-1]['kib'] / 1024:.1f} MiB"],
            ["growth over the second half", f"{samples[-1]['kib'] - half['kib']} KiB"],
            ["processor time for the exchanges of an hour",
             f"{percent(data['processor'] / 3600, 2)} of an hour of one processor"],
            ["the same, over a minute of two lines that keep their timing, bytes one by one",
             f"{percent(data['share'], 2)} of one processor"]]),
        image("footprint", "resident memory against exchanges"))


WRITERS = {"share": share_section, "silent": silent_section, "recording": recording_section,
           "plans": plans_section,
           "footprint": footprint_section}


def write(results, folder):
    images = folder / "images"
    images.mkdir(parents=True, exist_ok=True)
    parts = [writer(results[name], images) for name, writer in WRITERS.items() if name in results]
    (folder / NAME).write_text(HEAD + "".join(parts))
