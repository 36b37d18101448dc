"""What writing down the line costs the line."""
import json
import tempfile
from pathlib import Path
from statistics import median

import rig

BAUD = 115200
WRITTEN = {"--trace": "trace", "--capture": "capture.pcap", "--log": "values.csv"}
MOST = 0.02  # of the rate, that trace and capture may take


def rate(line, options):
    """Exchanges a second over a whole run."""
    with tempfile.TemporaryDirectory(dir=rig.folder) as where:
        report = Path(where) / "report.json"
        written = [word for option in options for word in (option, Path(where) / WRITTEN[option])]
        file = rig.panel_file(line.link, BAUD, [rig.words("words", 1, 0, 10)])
        seconds = 4
        rig.Panel(file, "--seconds", seconds, "--report", report, *written, is_watched=False).wait()
        stations = json.loads(report.read_text())["lines"][0]["stations"]
        return stations[0]["exchanges"] / seconds


def measure(quick):
    """Turn by turn with each, so that what else the machine does falls on all alike."""
    cases = [[], ["--trace"], ["--capture"], ["--trace", "--capture", "--log"]]
    rates = {" ".join(case): [] for case in cases}
    with rig.Simulator("--stations", 1, "--baud", BAUD) as line:
        for _ in range(2 if quick else 8):
            for case in cases:
                rates[" ".join(case)].append(rate(line, case))
    without = median(rates[""])
    return [{"written": case, "kept": median(each) / without, "most": MOST}
            for case, each in rates.items() if case]
