"""Looks at plot pages as a user does."""
import sys
import unittest

from pages import HOSTILE, PageTest, skip_without_browser

skip_without_browser()
from selenium.webdriver import ActionChains, Keys  # noqa: E402  (only once it is known to be there)


class PlotPages(PageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.ostrel_log("make", "flight", "--seconds", "10")
        for name, arguments in {"one": ["flight.cont", "--events", "flight.events"], "small": ["a"],
                                "two": ["a", "b"], "same": ["a", "a"]}.items():
            cls.ostrel_log("plot", *arguments, "-o", name + ".html")

    def ranges(self):
        """The steps that each graph shows, rounded: a graph's own range has the noise of its pixels."""
        ranges = self.browser.run("return flightPlot.graphs.map(graph => graph.xAxisRange().map(Math.round))")
        return {tuple(each) for each in ranges}

    def titles(self):
        return self.texts(".panel h2")

    def chart(self, number):
        return self.browser.find_all(".panel .chart")[number]

    def test_pages_fit_every_window_without_complaint_or_request(self):
        for name in ("one", "two", "same"):
            self.check_in_every_window(name, "plot-" + name)

    def test_one_log_has_a_dozen_panels_with_units(self):
        self.open("one")
        units = self.texts(".panel .unit")
        self.assertEqual(len(units), 12)
        self.assertNotIn("unit not known", units)
        curves = self.browser.run("return flightPlot.graphs.map(graph => graph.numColumns() - 1)")
        self.assertEqual(curves[1:4], [3, 3, 1])  # gyro, acc, pressure, behind the overview

    def test_legend_shows_the_values_of_the_log_under_the_cursor(self):
        self.open("small")
        for number in (0, 400, 1159):
            sample = self.samples[number]
            self.browser.run("flightPlot.graphs.forEach(graph => graph.setSelection(graph.getRowForX(arguments[0])))",
                             sample[0])
            shown = self.texts(".value")
            self.assertEqual([float(value) for value in shown], list(sample[1:]))

    def test_dragging_zooms_all_graphs_and_a_double_click_goes_back(self):
        self.open("one")
        self.assertEqual(self.ranges(), {(0, 1999)})
        chart = self.chart(2)
        ActionChains(self.browser.driver).move_to_element_with_offset(chart, 0, 0).click_and_hold().move_by_offset(
            120, 0).release().perform()
        zoomed = self.ranges()
        self.assertEqual(len(zoomed), 1)
        self.assertLess(zoomed.pop()[1], 1999)
        values = "return flightPlot.graphs[3].yAxisRange()"
        before = self.browser.run(values)
        ActionChains(self.browser.driver).move_to_element_with_offset(chart, 0, -40).click_and_hold().move_by_offset(
            0, 40).release().perform()
        self.assertNotEqual(self.browser.run(values), before)
        ActionChains(self.browser.driver).double_click(chart).perform()
        self.assertEqual(self.ranges(), {(0, 1999)})
        self.assertGreaterEqual(self.browser.run(values)[1], before[1])

    def test_keys_zoom_and_move_the_cursor(self):
        self.open("small")
        panel = self.browser.find_all(".panel")[0]
        panel.send_keys("+", Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.assertEqual(self.ranges(), {(300, 899)})
        self.assertEqual(self.texts("#cursor"), ["step 601"])
        panel.send_keys(Keys.ESCAPE)
        self.assertEqual(self.texts("#cursor"), [""])
        panel.send_keys("0")
        self.assertEqual(self.ranges(), {(0, 1199)})

    def test_first_difference_is_in_view_and_listed_by_its_name(self):
        self.open("two")
        self.assertEqual(self.ranges(), {(500, 900)})
        self.assertEqual(self.titles(), [HOSTILE])  # as text, since as markup it would be an image
        self.assertEqual(self.browser.driver.title, "a and b")
        self.assertIn("index 700", self.texts("#verdict")[0])
        cells = self.texts("#side td")
        self.assertEqual(cells, [HOSTILE, "500", "1", "700"])

    def test_page_says_that_nothing_differs(self):
        self.open("same")
        self.assertEqual(self.texts("#verdict"), ["Nothing differs: 1160 steps, 4 variables."])
        self.assertEqual(self.titles(), [])

    def test_page_does_not_say_so_when_a_log_has_a_section_alone(self):
        with open(self.path("same.html"), encoding="utf-8") as file:
            page = file.read().replace('"answer":"same"', '"answer":"different"')
        with open(self.path("alone.html"), "w", encoding="utf-8") as file:
            file.write(page.replace('"sectionsAlone":[]', '"sectionsAlone":["sun"]', 1))
        self.open("alone")
        self.assertEqual(self.texts("#verdict"), ["No difference in what was compared."])
        self.assertEqual(self.texts("#notes li"), ["Sections only in A: sun."])

    def test_search_takes_a_part_of_one_name_only(self):
        self.open("one")
        field = self.browser.find_all("#search")[0]
        field.send_keys("battery.remaining", Keys.ENTER)
        self.assertEqual(self.titles()[0], "inputs.sensors.battery.remaining_cap")
        for text, answer in (("nothing", "no such variable"), ("battery", " variables have this in their names")):
            field.send_keys(text, Keys.ENTER)
            self.assertIn(answer, field.get_property("validationMessage"))
            self.assertEqual(field.get_property("value"), text)
            field.clear()

    def test_search_adds_a_variable_to_the_others(self):
        self.open("one")
        name = "inputs.sensors.battery.remaining_cap"
        self.browser.find_all("#search")[0].send_keys(name, Keys.ENTER)
        self.assertEqual(self.titles()[0], name)
        self.browser.find_all(".panel")[0].send_keys("+")
        self.assertEqual(len(self.ranges()), 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
