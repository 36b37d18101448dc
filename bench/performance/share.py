"""How much of what the line allows the panel makes of it."""
from statistics import mean, median

import line_limit
import rig

LEAST = {(115200, 10): 0.96, (19200, 10): 0.985, (9600, 10): 0.985}
LEAST_LARGE = 0.99
WARM_UP = 5  # exchanges


def times_ms(requests):
    """From each request to the next."""
    times = [1000 * at for at, _ in requests[WARM_UP:]]
    return [after - before for before, after in zip(times, times[1:])]


def measure(quick):
    rows = []
    for baud in (9600, 19200, 115200):
        for registers in (10, 100):
            with rig.Simulator("--stations", 1, "--baud", baud) as line:
                file = rig.panel_file(line.link, baud, [rig.words("words", 1, 0, registers)])
                times = times_ms(rig.run_panel(file, 6 if quick else 20).requests())
            limit = line_limit.read_ms(baud, registers)
            rows.append({"baud": baud, "registers": registers, "limit": 1000 / limit,
                         "median": limit / median(times), "whole": limit / mean(times),
                         "least": LEAST.get((baud, registers), LEAST_LARGE)})
    return rows
