"""A simulated PLC, a panel that serves its page, and a browser in front of it."""
import pathlib
import socket
import subprocess
import tempfile
import time
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

TREE = pathlib.Path(__file__).resolve().parents[2]
TOKEN = "only-for-this-test-0123"
START_SECONDS = 30  # on a busy machine


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Plant:
    """programs: the folder that holds plcsim, panel and the driver's library."""

    def __init__(self, programs, panel_file=TREE / "panel/demo.json", baud="19200"):
        self.programs = pathlib.Path(programs)
        self.panel_file = panel_file
        self.folder = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.folder.name)
        self.address = f"http://127.0.0.1:{free_port()}/"
        (self.path / "token").write_text(TOKEN + "\n")
        self.simulation = subprocess.Popen(
            [self.programs / "plcsim/plcsim", "--link", self.path / "line", "--baud", baud],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.simulation.stdout.readline()  # the device is there
        self.panel = None
        self.start_panel()

    def start_panel(self, panel_file=None):
        where = self.address.removeprefix("http://").rstrip("/")
        self.panel = subprocess.Popen(
            [self.programs / "panel/panel", "run", "--device", self.path / "line",
             "--library", self.programs / "libmodbus_rtu_driver.so",
             "--history", self.path / "history.sqlite",
             "--web", where, "--web-token", self.path / "token", panel_file or self.panel_file],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + START_SECONDS
        while not self.answers():
            if self.panel.poll() is not None or time.monotonic() > deadline:
                raise RuntimeError("the panel serves no page")
            time.sleep(0.05)

    def file_with(self, text, other):
        """The panel file with another text in the place of one."""
        changed = self.path / "changed.json"
        changed.write_text(self.panel_file.read_text().replace(text, other))
        return changed

    def answers(self):
        try:
            return urllib.request.urlopen(self.address, timeout=1).status == 200
        except OSError:
            return False

    def kill_panel(self):
        self.panel.kill()
        self.panel.wait()

    def tell_plc(self, command):
        """As `mute 3`: what the simulated PLC takes while it runs."""
        print(command, file=self.simulation.stdin, flush=True)
        self.simulation.stdout.readline()

    def close(self):
        for process in (self.panel, self.simulation):
            process.kill()
            process.wait()
        self.simulation.stdin.close()
        self.simulation.stdout.close()
        self.folder.cleanup()


def open_browser():
    options = Options()
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage",
                     "--hide-scrollbars"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))


def resize(browser, width, height):
    """What the page gets, without the window's own frame."""
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
