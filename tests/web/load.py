"""What browsers cost the line: load.py PROGRAMS [SECONDS]. Measures, never asserts: exchanges a second
with 50 pages that look at the lines, with a client that sends garbage, and, of a panel with 1 000
variables on a fast line, with one that asks for all values again and again, against none."""
import http.client
import json
import os
import socket
import sys
import tempfile
import threading
import time
import urllib.request

from plant import Plant

PAGES = 50
VARIABLES = 1000
BAUD = 115200


def exchanges(plant):
    with urllib.request.urlopen(plant.address + "api/lines") as answer:
        return json.load(answer)["lines"][0]["exchanges"]


def rate(plant, seconds):
    first, began = exchanges(plant), time.monotonic()
    time.sleep(seconds)
    return (exchanges(plant) - first) / (time.monotonic() - began)


def read_events(plant, ending):
    with urllib.request.urlopen(plant.address + "api/events?lines=1") as stream:
        while not ending.is_set():
            stream.readline()


def send_garbage(plant, ending):
    host, port = plant.address.removeprefix("http://").rstrip("/").split(":")
    while not ending.is_set():
        try:
            with socket.create_connection((host, int(port))) as connection:
                connection.sendall(os.urandom(20_000))
        except OSError:
            pass  # cut off, as it should be


def ask_for_values(plant, ending):
    host = plant.address.removeprefix("http://").rstrip("/")
    connection = http.client.HTTPConnection(host)
    while not ending.is_set():
        connection.request("GET", "/api/values")
        connection.getresponse().read()
    connection.close()


def measure(plant, seconds, count, work):
    ending = threading.Event()
    threads = [threading.Thread(target=work, args=(plant, ending)) for _ in range(count)]
    for thread in threads:
        thread.start()
    time.sleep(1)
    found = rate(plant, seconds)
    ending.set()
    for thread in threads:
        thread.join()
    return found


def compare(plant, seconds, loads):
    """Exchanges a second alone, and the part of them that is left under each (count, work)."""
    try:
        time.sleep(3)
        alone = rate(plant, seconds / 2)
        loaded = [measure(plant, seconds, count, work) for count, work in loads]
        alone = (alone + rate(plant, seconds / 2)) / 2
        return alone, [each / alone for each in loaded]
    finally:
        plant.close()


def write_wide_panel(file):
    variables = [{"name": f"word {i}", "station": 1, "registerType": 7, "address": str(i),
                  "format": "uint16"} for i in range(VARIABLES)]
    json.dump({"port": {"device": "none", "baudRate": BAUD}, "variables": variables}, file)
    file.flush()


def main(programs, seconds=20):
    alone, (pages, garbage) = compare(Plant(programs), float(seconds),
                                      ((PAGES, read_events), (1, send_garbage)))
    print(f"exchanges a second: {alone:.1f} alone, {pages:.3f} of it with {PAGES} pages, "
          f"{garbage:.3f} with garbage")
    with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
        write_wide_panel(file)
        alone, (asked,) = compare(Plant(programs, file.name, str(BAUD)), float(seconds),
                                  ((1, ask_for_values),))
    print(f"{VARIABLES} variables: {alone:.1f} alone, {asked:.3f} of it while all are asked for "
          "without pause")


main(*sys.argv[1:])
