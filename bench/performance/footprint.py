"""Memory and processor time of a large project over as many exchanges as an hour makes."""
import os
import time
from contextlib import ExitStack

import rig

BAUD = 19200
LINES = 2
STATIONS = 5
VARIABLES_PER_STATION = 100
PACED_SECONDS = 60


def variables(line):
    """Words in runs of ten with holes between that the driver does not close."""
    return [rig.words(f"{line} {station} {i}", station, i + 90 * (i // 10), line=line)
            for station in range(1, STATIONS + 1) for i in range(VARIABLES_PER_STATION)]


def file_of(links, **line):
    names = [f"line{i}" for i in range(len(links))]
    return {"lines": [{"name": name, "device": str(link), "baudRate": BAUD, **line}
                      for name, link in zip(names, links)],
            "variables": [each for name in names for each in variables(name)]}


def resident_kib(pid):
    with open(f"/proc/{pid}/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


def processor_seconds(pid):
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def exchanges_of_an_hour(file):
    planned = rig.plan(file, 0)["driver"]
    return round(LINES * 3600 * planned["readsPerSecond"] * len(planned["requests"]))


def simulators(stack, *options):
    return [stack.enter_context(rig.Simulator("--stations", STATIONS, *options, name=f"line{i}"))
            for i in range(LINES)]


def answers(lines):
    """How many replies the simulated stations have sent."""
    count = 0
    for line in lines:
        since = len(line.said)
        line.command("count")
        for _, said in line.said[since:]:
            fields = said.split()
            count += int(fields[2]) if len(fields) >= 4 and fields[0].isdigit() else 0
    return count


def measure_hour(quick):
    """Without a line's timing: an hour's exchanges take minutes."""
    with ExitStack() as stack:
        lines = simulators(stack)
        file = file_of([line.link for line in lines], silenceUs=1)
        goal = exchanges_of_an_hour(file_of([line.link for line in lines])) // (20 if quick else 1)
        panel = rig.Panel(file, is_watched=False)
        samples = []
        while not samples or samples[-1]["exchanges"] < goal:
            time.sleep(0.2 if len(samples) < 20 else 1)
            samples.append({"exchanges": answers(lines), "kib": resident_kib(panel.pid)})
        processor = processor_seconds(panel.pid)
        panel.stop()
    return {"goal": goal, "samples": samples, "processor": processor}


def measure_paced(quick):
    """The share of one processor while two lines keep their timing, bytes coming one by one."""
    with ExitStack() as stack:
        lines = simulators(stack, "--baud", BAUD)
        file = file_of([line.link for line in lines])
        panel = rig.Panel(file, is_watched=False)
        time.sleep(2)
        before, began = processor_seconds(panel.pid), time.time()
        time.sleep(5 if quick else PACED_SECONDS)
        share = (processor_seconds(panel.pid) - before) / (time.time() - began)
        panel.stop()
    return share


def measure(quick):
    return {**measure_hour(quick), "share": measure_paced(quick)}
