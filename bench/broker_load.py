"""What panels are to a broker, and the broker to a panel: broker_load.py PROGRAMS [PANELS].

PROGRAMS is a build's folder. Panels are processes that pretend that values change (tests/pretended_panel);
a real mosquitto on the loopback serves them. Measures, never asserts.
"""
import json
import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import time

PROGRAM = pathlib.Path(sys.argv[1]) / "tests/pretended_panel"
PANELS = int(sys.argv[2]) if len(sys.argv) > 2 else 200
MANY, FAST = 50_000, 5_000  # changes of the panel that is alone, and how many a second
PER_SECOND, SECONDS = 10, 20  # of each where there are many
VARIABLES = 100


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


def start_broker(folder, port):
    settings = folder / "broker.conf"
    settings.write_text(f"user root\nlistener {port} 127.0.0.1\nallow_anonymous true\n"
                        "max_inflight_messages 0\nmax_queued_messages 0\n")
    broker = subprocess.Popen(["/usr/sbin/mosquitto", "-c", settings], stderr=subprocess.DEVNULL)
    while True:
        try:
            socket.create_connection(("127.0.0.1", port)).close()
            return broker
        except OSError:
            time.sleep(0.05)


def panel_file(folder, port, number):
    variables = [{"name": f"v{i}", "station": 1, "registerType": 10, "address": str(i),
                  "format": "uint32"}
                 for i in range(VARIABLES)]
    path = folder / f"panel{number}.json"
    path.write_text(json.dumps({
        "port": {"name": "press"}, "variables": variables,
        "broker": {"host": "127.0.0.1", "port": port, "prefix": f"plant/{number}"}}))
    return path


def start_panel(path, changes, per_second):
    command = [PROGRAM, path, "--changes", str(changes), "--per-second", str(per_second), "--stay"]
    return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)


def memory_kb(process):
    """What it takes of its own; what all of them share is divided among them."""
    rows = pathlib.Path(f"/proc/{process.pid}/smaps_rollup").read_text().splitlines()
    return int(next(row for row in rows if row.startswith("Pss:")).split()[1])


def cpu_seconds(process):
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def end(panel):
    panel.terminate()
    return json.loads(panel.communicate()[0].splitlines()[-1])


def one_panel(folder, port, broker):
    began, used = time.monotonic(), cpu_seconds(broker)
    panel = start_panel(panel_file(folder, port, "alone"), MANY, FAST)
    panel.stdout.readline()  # all of them are acknowledged, or dropped
    seconds = time.monotonic() - began
    broker_share = (cpu_seconds(broker) - used) / seconds
    panel_share = cpu_seconds(panel) / seconds
    said = end(panel)
    print(f"one panel: {said['published'] / seconds:.0f} changes a second acknowledged of {FAST} made, "
          f"{said['dropped']:.0f} dropped; the panel has {100 * panel_share:.0f} % of a processor, "
          f"the broker {100 * broker_share:.0f} %")


def many_panels(folder, port, broker):
    files = [panel_file(folder, port, number) for number in range(PANELS)]
    before = memory_kb(broker)
    began, used = time.monotonic(), cpu_seconds(broker)
    panels = [start_panel(path, PER_SECOND * SECONDS, PER_SECOND) for path in files]
    for panel in panels:
        panel.stdout.readline()
    seconds = time.monotonic() - began
    each = sum(memory_kb(panel) for panel in panels) / PANELS
    panel_share = sum(cpu_seconds(panel) for panel in panels) / PANELS / seconds
    broker_share = (cpu_seconds(broker) - used) / seconds
    said = (f"{100 * broker_share:.0f} % of a processor, "
            f"{memory_kb(broker)} kB ({before} before)")
    ended = [end(panel) for panel in panels]
    made = PANELS * PER_SECOND * SECONDS
    print(f"{PANELS} panels with {PER_SECOND} changes a second each: {sum(e['published'] for e in ended)} "
          f"of {made} acknowledged, {sum(e['dropped'] for e in ended)} dropped, in {seconds:.0f} s\n"
          f"  a panel's broker side: {each:.0f} kB, {100 * panel_share:.1f} % of a processor\n"
          f"  the broker: {said}")


def main():
    with tempfile.TemporaryDirectory() as name:
        folder, port = pathlib.Path(name), free_port()
        broker = start_broker(folder, port)
        try:
            one_panel(folder, port, broker)
            many_panels(folder, port, broker)
        finally:
            broker.terminate()
            broker.wait()


main()
