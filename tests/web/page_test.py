"""The page in a real browser: page_test.py PROGRAMS, the folder of a build."""
import sys
import time
import unittest

from selenium.common.exceptions import NoSuchElementException, StaleElementReferenceException
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from plant import TOKEN, Plant, open_browser, resize

PATIENCE = 15  # seconds; only ends a test that hangs
IGNORED = (NoSuchElementException, StaleElementReferenceException)  # the page draws anew
VIEWS = ("values", "trend?v=in+sine&v=ramp", "line")
SIZES = ((800, 480), (1600, 900))


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.plant = Plant(PROGRAMS)
        cls.addClassCleanup(cls.plant.close)
        cls.browser = open_browser()
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        resize(self.browser, *SIZES[1])
        self.show("values")

    def show(self, view):
        self.browser.get(f"{self.plant.address}#/{view}")
        self.wait(lambda: self.one("#connection").get_attribute("data-state") == "live")

    def one(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def value(self, name):
        return self.one(f'[data-variable="{name}"]')

    def wait(self, condition):
        return WebDriverWait(self.browser, PATIENCE, 0.1, IGNORED).until(lambda _: condition())

    def wait_for_quality(self, name, quality):
        self.wait(lambda: self.value(name).get_attribute("data-quality") == quality)

    def wait_for_text(self, selector, text):
        self.wait(lambda: text in self.one(selector).text)

    def set_word(self, text):
        field = self.one('input[aria-label^="New value of set word"]')
        field.clear()
        field.send_keys(text, Keys.ENTER)

    def test_values_move_and_carry_their_unit(self):
        self.wait_for_quality("in counter", "good")
        first = self.value("in counter").text
        self.wait(lambda: self.value("in counter").text != first)
        self.assertRegex(self.value("set word").text, r"^-?\d+ mm$")
        self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, ".curve path[d]"))

    def test_a_write_asks_for_the_token_once_and_shows_what_was_read_back(self):
        self.browser.execute_script("localStorage.removeItem('panel-token')")
        self.set_word("42")
        self.wait(lambda: self.one("#token").is_displayed())
        self.one("#token input").send_keys("not-the-token-at-all", Keys.ENTER)
        self.wait(lambda: self.one("#token-wrong").is_displayed())
        self.one("#token input").send_keys(TOKEN, Keys.ENTER)
        self.wait_for_text("output", "the PLC has 42")
        self.wait(lambda: self.value("set word").text == "42 mm")
        self.wait_for_text(".set small", "-2000 to 2000 mm")
        self.set_word("5000")
        self.wait_for_text("output", "above the maximum of 2000")
        self.assertEqual(self.value("set word").text, "42 mm")

    def test_who_does_not_say_the_token_is_asked_again_only_by_a_button(self):
        # Stands for a panel that listens beyond this machine.
        self.browser.execute_script(
            "const real = window.fetch; window.fetch = (path, options) => "
            "path.startsWith('/api/events') ? Promise.resolve(new Response('{}', {status: 401}))"
            " : real(path, options); location.hash = '#/line';")
        self.addCleanup(self.browser.refresh)
        self.wait(lambda: self.one("#token").is_displayed())
        self.one("#token input").send_keys(Keys.ESCAPE)
        self.wait_for_text("#connection", "token needed")
        time.sleep(2)  # two tries after a lost connection
        self.assertFalse(self.one("#token").is_displayed())
        self.one("#notice button").click()
        self.wait(lambda: self.one("#token").is_displayed())

    def test_a_muted_station_turns_old_and_its_cause_appears(self):
        self.wait_for_quality("high counter", "good")
        self.plant.tell_plc("mute 3")
        self.addCleanup(self.plant.tell_plc, "unmute 3")
        self.wait_for_quality("high counter", "old")
        self.assertEqual(self.value("in counter").get_attribute("data-quality"), "good")
        self.show("line")
        self.wait_for_text('[data-station="3"]', "no reply")
        self.wait(lambda: self.browser.find_elements(By.CSS_SELECTOR, '[data-station="3"] .cause'))
        self.wait_for_text(".exchanges tbody", "no reply")
        self.plant.tell_plc("unmute 3")
        self.show("values")
        self.wait_for_quality("high counter", "good")

    def test_a_panel_that_was_killed_is_missed_and_comes_back(self):
        self.wait_for_quality("in counter", "good")
        self.plant.kill_panel()
        self.wait(lambda: self.one("#notice").is_displayed())
        self.wait_for_quality("in counter", "old")
        self.plant.start_panel()
        self.wait(lambda: not self.one("#notice").is_displayed())
        self.wait_for_quality("in counter", "good")
        first = self.value("in counter").text
        self.wait(lambda: self.value("in counter").text != first)
        self.browser.get_log("browser")  # it says that nobody answered

    def test_a_panel_that_comes_back_with_another_file_is_shown_as_it_is_now(self):
        self.addCleanup(self.plant.start_panel)
        self.addCleanup(self.plant.kill_panel)
        self.wait_for_quality("in counter", "good")
        self.plant.kill_panel()
        self.plant.start_panel(self.plant.file_with('"in counter"', '"brand new"'))
        self.wait(lambda: self.browser.find_elements(
            By.CSS_SELECTOR, '[data-variable="brand new"]'))
        self.wait_for_quality("brand new", "good")
        self.assertEqual(self.browser.find_elements(
            By.CSS_SELECTOR, '[data-variable="in counter"]'), [])
        self.browser.get_log("browser")  # it says that nobody answered

    def test_more_tabs_than_a_browser_has_connections_are_all_alive(self):
        first = self.browser.current_window_handle
        for _ in range(8):
            self.browser.switch_to.new_window("tab")
            self.show("values")
            self.wait_for_quality("in counter", "good")
        for tab in self.browser.window_handles:
            if tab != first:
                self.browser.switch_to.window(tab)
                self.browser.close()
        self.browser.switch_to.window(first)
        self.wait_for_quality("in counter", "good")

    def test_a_trend_gives_whole_numbers_to_the_last_digit(self):
        self.show("trend?v=set+long")
        self.wait(lambda: self.value("set long").text == "3735928559")

    def test_a_trend_shows_values_under_the_pointer_and_zooms(self):
        self.show(VIEWS[1])
        self.wait(lambda: "in sine" in self.one(".legend").text)
        canvas = self.one("canvas")
        canvas.send_keys(Keys.ARROW_LEFT)
        self.wait(lambda: "latest" not in self.one(".legend .when").text)
        before = self.browser.current_url
        canvas.send_keys("+")
        self.wait(lambda: self.browser.current_url != before)
        self.wait(lambda: "in sine" in self.one(".legend").text)

    def test_a_drag_that_ends_outside_the_trend_zooms_too(self):
        self.show(VIEWS[1])
        self.wait(lambda: "in sine" in self.one(".legend").text)
        before = self.browser.current_url
        ActionChains(self.browser).click_and_hold(self.one("canvas")).move_to_element(
            self.one("#connection")).release().perform()
        self.wait(lambda: self.browser.current_url != before)

    def test_the_views_are_reached_by_the_keyboard(self):
        for key, view in (("2", "trend"), ("3", "line"), ("1", "values")):
            self.one("body").send_keys(key)
            self.wait(lambda v=view: self.browser.current_url.endswith(f"#/{v}"))
            self.assertTrue(self.one(f'[data-view="{view}"]').get_attribute("aria-current"))

    def test_every_view_fits_and_reports_no_error(self):
        self.browser.get_log("browser")
        for size in SIZES:
            resize(self.browser, *size)
            for view in VIEWS:
                with self.subTest(view=view, size=size):
                    self.show(view)
                    self.wait(lambda: self.one("main").text)
                    width = self.browser.execute_script(
                        "return document.documentElement.scrollWidth")
                    self.assertLessEqual(width, size[0])
                    self.check_labels()
        errors = [each for each in self.browser.get_log("browser") if each["level"] == "SEVERE"]
        self.assertEqual(errors, [])

    def check_labels(self):
        nameless = self.browser.execute_script(
            "return [...document.querySelectorAll('input, button, a')]"
            ".filter((each) => !each.getAttribute('aria-label') && !each.labels?.length"
            " && !each.textContent.trim()).map((each) => each.outerHTML)")
        self.assertEqual(nameless, [])


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
