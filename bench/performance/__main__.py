"""Measures the panel on simulated lines; scripts/bench builds the programs and starts this.

Each section may be measured by itself: what was measured is kept below build/performance, and
docs/performance.md is written from all of it. A quick look writes a page below build/performance only.
"""
import argparse
import json
import signal
import sys
from pathlib import Path

import footprint
import page
import plans
import recording
import rig
import share
import silent

SECTIONS = {"share": share, "silent": silent, "recording": recording, "plans": plans,
            "footprint": footprint}
KEPT = Path("build/performance")


def options():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true",
                        help="a short look; prints the page and leaves docs/ as it is")
    parser.add_argument("--programs", type=Path, default=Path("build/presets/release"),
                        metavar="BUILD",
                        help="measure the programs of this build (built when left out)")
    parser.add_argument("--page-only", action="store_true",
                        help="write the page anew from what was measured before")
    parser.add_argument("--check", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("sections", nargs="*", metavar="SECTION",
                        help=f"of {', '.join(SECTIONS)}; all of them when none is named")
    chosen = parser.parse_args()
    for section in chosen.sections:
        if section not in SECTIONS:
            parser.error(f"no such section: {section}")
    if not chosen.check and not (chosen.programs / "plcsim/plcsim").is_file():
        parser.error(f"{chosen.programs}: no build of the panel")
    return chosen


def measure(name, is_quick):
    print(f"bench: {name}", flush=True)
    before = rig.load()
    return {"data": SECTIONS[name].measure(is_quick), "load": max(before, rig.load()),
            "realtime": rig.is_realtime()}


def main():
    chosen = options()
    if chosen.check:
        return
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    rig.programs = chosen.programs.resolve()
    KEPT.mkdir(parents=True, exist_ok=True)
    kept = {name: KEPT / f"{name}{'-quick' if chosen.quick else ''}.json" for name in SECTIONS}
    try:
        for name in [] if chosen.page_only else chosen.sections or SECTIONS:
            kept[name].write_text(json.dumps(measure(name, chosen.quick), indent=1))
    finally:
        rig.end_all()
    results = {name: json.loads(path.read_text()) for name, path in kept.items() if path.exists()}
    target = KEPT if chosen.quick else Path("docs")
    page.write(results, target)
    print((target / page.NAME).read_text() if chosen.quick else f"bench: {target / page.NAME}")


main()
