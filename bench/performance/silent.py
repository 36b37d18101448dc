"""What stations that do not answer cost those that do, and when they are heard again."""
import time

import rig

BAUD = 19200
REGISTERS = 10
DEAD = (0, 1, 3, 8, 30)
DEAD_SECONDS = 35  # until a station that is back must have been polled
ALONE_SECONDS = 5
DEVICE_SECONDS = 2
FAULTS = {"refuse every read": "exception=100%:2@2-9",
          "answer with a wrong checksum": "flip=100%@2-9"}


def file_of(line, stations):
    variables = [rig.words(f"words {each}", each, 0, REGISTERS) for each in stations]
    return rig.panel_file(line.link, BAUD, variables)


def rate(line, stations, seconds):
    """Good reads of station 1 in a second, from the first request of the run on."""
    trace = rig.run_panel(file_of(line, stations), seconds).trace()
    good = [each for each in trace if each.station == 1 and each.outcome == "good"]
    return len(good) / (trace[-1].at - trace[0].at)


def measure_rates(quick):
    seconds = 8 if quick else 30
    rates = []
    for dead in DEAD:
        with rig.Simulator("--stations", 1, "--baud", BAUD) as line:
            rates.append(rate(line, range(1, dead + 2), seconds))
    rows = [{"what": "are silent", "stations": dead, "kept": each / rates[0]}
            for dead, each in zip(DEAD, rates)]
    for what, faults in FAULTS.items():
        with rig.Simulator("--stations", 9, "--baud", BAUD, "--faults", faults) as line:
            each = rate(line, range(1, 10), seconds)
        rows.append({"what": what, "stations": 8, "kept": each / rates[0]})
    return rows


def measure_return(dead, quick):
    """Seconds until a station that has been silent is heard again, several times."""
    times = []
    with rig.Simulator("--stations", 1 + dead, "--baud", BAUD) as line:
        line.command(f"mute 2-{1 + dead}")
        panel = rig.Panel(file_of(line, range(1, 2 + dead)))
        for turn in range(1 if quick else 4):
            time.sleep(5 if quick else 20 + 1.3 * turn)
            back = line.command("unmute 2")
            times.append(panel.wait_for_good(2, back, 2 * DEAD_SECONDS) - back)
            line.command("mute 2")
        panel.stop()
    return times


def measure_device(quick):
    """Seconds from the return of the device to the first good reply."""
    times = []
    with rig.Simulator("--stations", 1, "--baud", BAUD) as line:
        panel = rig.Panel(file_of(line, [1]))
        time.sleep(2)
        for turn in range(1 if quick else 5):
            since = len(line.said)
            line.command(f"unplug {3000 + 110 * turn}ms")  # the panel looks at even intervals
            back = line.wait_for("back:", since)
            times.append(panel.wait_for_good(1, back, 20) - back)
            time.sleep(1)
        panel.stop()
    return times


def measure(quick):
    return {"rates": measure_rates(quick),
            "returns": [{"what": "the only silent station", "least": ALONE_SECONDS,
                         "times": measure_return(1, quick)},
                        {"what": "one of eight silent stations", "least": DEAD_SECONDS,
                         "times": measure_return(8, quick)},
                        {"what": "the device, unplugged for some 3 s", "least": DEVICE_SECONDS,
                         "times": measure_device(quick)}]}
