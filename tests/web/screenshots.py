"""Takes the pictures of the page for the docs: screenshots.py PROGRAMS FOLDER."""
import pathlib
import sys
import time

from selenium.webdriver.support.ui import WebDriverWait

from plant import Plant, open_browser, resize

PICTURES = (("values", (800, 480), "light"), ("line", (1600, 900), "dark"),
            ("trend?v=in+float+sine&v=high+lamp&span=60000", (1600, 900), "light"))
HISTORY_SECONDS = 50  # that the trend is to show


def main(programs, folder):
    plant = Plant(programs)
    browser = open_browser()
    try:
        browser.get(plant.address)
        time.sleep(HISTORY_SECONDS / 2)
        plant.tell_plc("mute 3")
        time.sleep(HISTORY_SECONDS / 2)
        for view, size, theme in PICTURES:
            resize(browser, *size)
            browser.execute_script(f"localStorage.setItem('panel-theme', '{theme}')")
            browser.get(f"{plant.address}?{theme}#/{view}")
            WebDriverWait(browser, 30).until(lambda b: b.execute_script(
                "return document.getElementById('connection').dataset.state === 'live'"))
            time.sleep(3)  # until everything has moved once
            name = view.split("?")[0]
            browser.save_screenshot(str(pathlib.Path(folder) / f"page-{name}.png"))
    finally:
        browser.quit()
        plant.close()


main(*sys.argv[1:3])
