"""The programs that are measured: a simulated line, a panel on it, libmodbus's own master."""
import json
import os
import re
import shutil
import signal
import struct
import subprocess
import tempfile
import threading
import time
from datetime import datetime, timezone
from pathlib import Path

programs = Path()  # the build that is measured
_started = []
folder = Path(tempfile.mkdtemp(prefix="bench-"))

START_SECONDS = 20
REQUEST_BYTES = 8  # of a read; no reply of registers is as long
PCAP_HEAD, PCAP_RECORD = 24, 16
TRACE_LINE = re.compile(r"(\S+Z) (?:\S+ )?station (\d+): (.*?): (good|refused|[a-z ]+)")


def start(*command, **pipes):
    process = subprocess.Popen(list(map(str, command)), **pipes)
    _started.append(process)
    return process


def end_all():
    """Leaves no program behind, however the measuring ended."""
    for process in _started:
        if process.poll() is None:
            process.kill()
            process.wait()
    shutil.rmtree(folder)


class Simulator:
    """plcsim on a link of its own; `options` as on its command line."""

    def __init__(self, *options, name="line"):
        self.link = folder / name
        self.said = []
        self._process = start(programs / "plcsim/plcsim", "--link", self.link, *options,
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        self.wait_for("/dev/")

    def _read(self):
        for line in self._process.stdout:
            self.said.append((time.time(), line.rstrip("\n")))

    def wait_for(self, beginning, since=0, seconds=START_SECONDS):
        """When it said a line that begins so; the lines before `since` do not count."""
        end = time.time() + seconds
        while time.time() < end:
            for at, line in self.said[since:]:
                if line.startswith(beginning):
                    return at
            time.sleep(0.005)
        raise SystemExit(f"bench: plcsim did not say {beginning!r}")

    def command(self, line):
        """When it was carried out."""
        since = len(self.said)
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()
        return self.wait_for("ok: " + line, since)

    def stop(self):
        """What it printed at its end."""
        since = len(self.said)
        self._process.send_signal(signal.SIGTERM)
        self._process.wait()
        self._reader.join()
        return [line for _, line in self.said[since:]]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self._process.poll() is None:
            self.stop()


class Exchange:
    """One of a trace: seconds since the epoch, station, "read holding 0..9", "good"."""

    def __init__(self, match):
        moment = datetime.strptime(match[1], "%Y-%m-%dT%H:%M:%S.%fZ")
        self.at = moment.replace(tzinfo=timezone.utc).timestamp()
        self.station = int(match[2])
        self.request = match[3]
        self.outcome = match[4]


class Panel:
    """panel run over `file`, a dictionary."""

    def __init__(self, file, *options, is_watched=True):
        where = Path(tempfile.mkdtemp(dir=folder))
        self._trace = where / "trace"
        self._capture = where / "capture.pcap"
        watching = ["--trace", self._trace, "--capture", self._capture] if is_watched else []
        self._process = start(programs / "panel/panel", "run", write_file(file, where), *watching,
                              *options, stdout=subprocess.DEVNULL)

    @property
    def pid(self):
        return self._process.pid

    def trace(self):
        """The exchanges so far."""
        return exchanges_in(self._trace.read_text())

    def requests(self):
        """What was sent, once it has ended: when, to the microsecond, and the frame."""
        return [(at, frame) for at, frame in frames_in(self._capture.read_bytes())
                if len(frame) == REQUEST_BYTES]

    def wait_for_good(self, station, since, seconds):
        """When a station was asked the first time after `since` that it answered."""
        end = time.time() + seconds
        with self._trace.open() as trace:
            while time.time() < end:
                for each in exchanges_in(trace.read()):
                    if (each.station, each.outcome) == (station, "good") and each.at >= since:
                        return each.at
                time.sleep(0.1)
        raise SystemExit(f"bench: station {station} was not heard within {seconds} s")

    def wait(self):
        if self._process.wait() not in (0, 1):
            raise SystemExit(f"bench: the panel ended with {self._process.returncode}")

    def stop(self):
        self._process.send_signal(signal.SIGINT)
        self.wait()


def exchanges_in(text):
    return [Exchange(match) for match in map(TRACE_LINE.match, text.splitlines()) if match]


def frames_in(capture):
    """When and what, of a pcap file."""
    fractions = {0xa1b2c3d4: 1e6, 0xa1b23c4d: 1e9}[struct.unpack_from("=I", capture)[0]]
    at = PCAP_HEAD
    while at < len(capture):
        seconds, fraction, length, _ = struct.unpack_from("=IIII", capture, at)
        at += PCAP_RECORD + length
        yield seconds + fraction / fractions, capture[at - length:at]


def write_file(file, where):
    path = Path(where) / "panel.json"
    path.write_text(json.dumps(file))
    return path


def run_panel(file, seconds, *options):
    """A panel that has run so many seconds."""
    panel = Panel(file, "--seconds", seconds, *options)
    panel.wait()
    return panel


def plan(file, reply_time_ms):
    """The first line of `panel plan --json`."""
    with tempfile.TemporaryDirectory(dir=folder) as where:
        said = subprocess.run(
            [programs / "panel/panel", "plan", write_file(file, where), "--json", "--reply-time",
             str(reply_time_ms)], check=True, stdout=subprocess.PIPE)
    return json.loads(said.stdout)["lines"][0]


def run_libmodbus(device, baud, seconds, pause_us, blocks):
    """Milliseconds of a pass; `blocks` as (station, register, count)."""
    said = subprocess.run(
        [programs / "bench/libmodbus_master", device, str(baud), str(seconds), str(pause_us),
         *(":".join(map(str, block)) for block in blocks)],
        check=True, stdout=subprocess.PIPE, text=True).stdout
    return float(said)


def words(name, station, first, count=1, **more):
    """A variable of holding registers."""
    return {"name": name, "station": station, "registerType": 7, "address": str(first),
            "count": count, "format": "uint16", **more}


def panel_file(device, baud, variables, **line):
    return {"port": {"device": str(device), "baudRate": baud, **line}, "variables": variables}


def load():
    """What the machine is asked to do at the same time: processes that want to run."""
    return os.getloadavg()[0]


def is_realtime():
    """Whether this and what it starts goes before ordinary programs: chrt --fifo 10 scripts/bench"""
    return os.sched_getscheduler(0) == os.SCHED_FIFO
