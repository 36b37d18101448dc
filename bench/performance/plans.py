"""The driver's own plan against the fastest one, the prediction against the line, and libmodbus's
own master beside them."""
from collections import defaultdict
from statistics import median

import line_limit
import rig

REPLY_TIME_MS = 5
MEASURED_AFTER = 5  # seconds: the fastest plan goes by measured times then

SCATTERED = [rig.words(f"word {i}", 1, 50 * i) for i in range(20)]
NEIGHBOURS = [rig.words(f"word {i}", 1, i) for i in range(100)]
MIXED = [rig.words(f"group {i}", 1 + i % 4, 12 * i, 1 + 7 * i % 25) for i in range(16)]

PROJECTS = {
    "20 words, one every 50 registers": (19200, SCATTERED),
    "100 neighbouring words": (19200, NEIGHBOURS),
    "16 groups of 1 to 25 words, 4 stations, 9600": (9600, MIXED),
    "the same, 115200": (115200, MIXED),
}
COMPARED = list(PROJECTS)[:2]


def pass_ms(requests):
    """The sum of the median time that each request of a pass takes until the next."""
    begin = requests[0][0] + MEASURED_AFTER
    times = defaultdict(list)
    for (at, frame), (following, _) in zip(requests, requests[1:]):
        if at > begin:
            times[frame].append(1000 * (following - at))
    return sum(map(median, times.values()))


def simulator(baud):
    return rig.Simulator("--stations", 4, "--baud", baud, "--reply-time", REPLY_TIME_MS)


def measure_project(name, quick):
    baud, variables = PROJECTS[name]
    rows = []
    for plan in ("driver", "fastest"):
        with simulator(baud) as line:
            file = rig.panel_file(line.link, baud, variables, plan=plan)
            planned = rig.plan(file, REPLY_TIME_MS)[plan]
            panel = rig.run_panel(file, MEASURED_AFTER + (6 if quick else 20))
        rows.append({"project": name, "plan": plan, "requests": len(planned["requests"]),
                     "predicted": planned["milliseconds"], "measured": pass_ms(panel.requests())})
    return rows


def blocks_of(file, plan):
    return [(each["station"], each["register"], each["count"])
            for each in rig.plan(file, REPLY_TIME_MS)[plan]["requests"]]


def measure_libmodbus(name, quick):
    baud, variables = PROJECTS[name]
    silence_us = round(1000 * line_limit.silence_ms(baud))
    rows = []
    with simulator(baud) as line:
        file = rig.panel_file(line.link, baud, variables)
        singles = [(each["station"], int(each["address"]), 1) for each in variables]
        for what, blocks in (("one by one", singles),
                             ("the driver's blocks", blocks_of(file, "driver"))):
            for pause in (0, silence_us):
                taken = rig.run_libmodbus(line.link, baud, 6 if quick else 20, pause, blocks)
                rows.append({"project": name, "what": what, "pause": pause > 0,
                             "measured": taken})
    return rows


def measure(quick):
    return {"plans": [row for name in PROJECTS for row in measure_project(name, quick)],
            "libmodbus": [row for name in COMPARED for row in measure_libmodbus(name, quick)]}
