"""Looks at report pages as a user does."""
import json
import sys
import unittest

from pages import HOSTILE, PageTest, skip_without_browser

skip_without_browser()
from selenium.webdriver import Keys  # noqa: E402  (only once it is known to be there)


def row(number, verdict, variable=None, step=None, reason=None, steps=12000, differ=None, seconds=5.0, flight=None):
    return {"key": f"{number:032x}", "flight": flight or f"flights/f{number:05}", "verdict": verdict, "reason": reason,
            "cut": None, "options": {"only": []}, "a": {"steps": steps, "seconds": seconds / 2},
            "b": {"steps": steps, "seconds": seconds / 2}, "differ": differ and {"steps": differ},
            "first": variable and {"index": step, "step": step, "variable": variable, "a": 0, "b": 1}, "kept": None}


def night():
    """10,000 flights, most of them the same."""
    rows = [row(i, "same", seconds=4 + i % 7 / 2) for i in range(5, 9900)]
    rows += [row(i, "changed", "outputs.vertical_speed", i % 600, f"outputs.vertical_speed {i / 7} against {i / 9}",
                 differ=i % 500 + 1) for i in range(9900, 9960)]
    rows += [row(i, "changed", "outputs.state", 7000, "outputs.state 3 against 4", differ=40) for i in range(9960, 9980)]
    rows += [row(i, "failed-b", reason="signal 11 (Segmentation fault)", steps=400) for i in range(9980, 9995)]
    return rows + [row(i, "bad-input", reason="no event log", steps=None, seconds=0) for i in range(9995, 10001)]


class ReportPages(PageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        compared = row(3, "changed", HOSTILE, 700, f"{HOSTILE} 0 against 1", steps=1160, differ=500, flight=HOSTILE)
        compared["kept"] = {"a": "a", "b": "b"}
        gone = row(4, "changed", "outputs.state", 9, "outputs.state 1 against 2", steps=100, differ=60, seconds=2)
        gone["kept"] = {"a": "gone", "b": "b"}
        few = [row(1, "same", seconds=9), row(2, "failed-b", reason="exit status 1", steps=20, seconds=1), compared, gone]
        for name, rows in {"few": few, "night": night() + few}.items():
            with open(cls.path(name + ".jsonl"), "w", encoding="utf-8") as file:
                file.writelines(json.dumps(each) + "\n" for each in rows)
            cls.ostrel_log("report", name + ".jsonl", "--html", name + ".html", status=1)

    def column(self, title):
        return self.texts(f"#flights td[data-title='{title}']")

    def press(self, selector, text):
        next(each for each in self.browser.find_all(selector) if each.text == text).click()

    def enter(self, identifier, text):
        field = self.browser.find_all("#" + identifier)[0]
        field.clear()
        field.send_keys(text)

    def test_pages_fit_every_window_without_complaint_or_request(self):
        self.check_in_every_window("few", "report-few")
        self.check_in_every_window("night", "report-night")
        print("10,000 rows, milliseconds:", round(self.browser.run("return fleetReport.drawnAfter")), file=sys.stderr)

    def test_flights_that_are_not_the_same_come_first(self):
        self.open("few")
        self.assertEqual(self.column("Verdict"), ["changed", "changed", "failed-b", "same"])
        self.assertEqual(self.column("At step"), ["9", "700", "", ""])
        self.assertEqual(self.texts("h1"), ["2 changed, 1 same, 1 failed of 4"])

    def test_heads_of_columns_sort_both_ways_with_what_is_missing_last(self):
        self.open("few")
        for title, orders in {"Seconds": (["9.0", "5.0", "2.0", "1.0"], ["1.0", "2.0", "5.0", "9.0"]),
                              "Steps": (["12,000", "1,160", "100", "20"], ["20", "100", "1,160", "12,000"]),
                              "At step": (["9", "700", "", ""], ["700", "9", "", ""])}.items():
            for expected in orders:
                self.press("#flights th button", title)
                self.assertEqual(self.column(title), expected)

    def test_verdicts_bins_texts_and_limits_filter(self):
        self.open("few")
        self.press("#verdicts button", "changed 2")
        self.assertEqual(self.column("Verdict"), ["changed", "changed"])
        self.press("#bins button", "1\nchanged\noutputs.state")
        self.assertEqual(self.column("First difference or reason"), ["outputs.state\n1 against 2"])
        self.press("#reset", "Show all")
        for field, text, expected in (("search", "STATUS", ["1.0"]), ("least-steps", "1160", ["5.0", "9.0"]),
                                      ("least-seconds", "9", ["9.0"])):
            self.enter(field, text)
            self.assertEqual(self.column("Seconds"), expected)
            self.press("#reset", "Show all")
        self.assertEqual(self.texts("#shown"), ["4 flights"])

    def test_names_stay_text(self):
        self.open("few")
        self.assertIn(HOSTILE, self.column("Flight"))
        self.assertEqual(self.browser.find_all("img"), [])
        self.assertEqual(self.browser.driver.title, "2 changed, 1 same, 1 failed of 4")

    def test_link_opens_the_comparison_with_the_first_difference_in_view(self):
        self.open("few")
        self.assertEqual(self.column("Exports"), ["no page: gone: No such file or directory", "A and B", "", ""])
        self.browser.find_all("#flights a")[0].send_keys(Keys.ENTER)
        self.assertEqual(self.texts("h1"), [HOSTILE + ": A and B"])
        self.assertEqual(self.browser.run("return flightPlot.graphs[0].xAxisRange().map(Math.round)"), [500, 900])

    def test_long_table_grows_on_demand(self):
        self.open("night")
        self.assertEqual(self.texts("#shown"), ["the first 500 of 10,000 flights"])
        self.press("#more", "Show 500 more of 9,500 flights")
        self.assertEqual(self.texts("#shown"), ["the first 1,000 of 10,000 flights"])
        self.assertEqual(len(self.browser.find_all("#flights tbody tr")), 1000)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
