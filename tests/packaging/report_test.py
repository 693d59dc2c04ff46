"""Drives a headless browser over the report page. Arguments: page, folder for screenshots or nothing."""
import base64
import contextlib
import json
import pathlib
import subprocess
import sys
import tempfile
import time
import urllib.request

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"


class Browser:
    """A session of the WebDriver protocol."""

    def __init__(self, port, profile):
        self.base = f"http://127.0.0.1:{port}"
        options = {"args": ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                            "--disable-background-networking", "--disable-component-update", "--disable-sync",
                            "--hide-scrollbars", f"--user-data-dir={profile}"]}
        session = self.call("POST", "/session", {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}})
        self.base += "/session/" + session["sessionId"]

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.urlopen(request, timeout=120) as answer:
            return json.load(answer)["value"]

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def element(self, selector):
        found = self.call("POST", "/element", {"using": "css selector", "value": selector})
        return f"/element/{found[ELEMENT]}"

    def click(self, selector):
        self.call("POST", self.element(selector) + "/click", {})

    def type(self, selector, text):
        element = self.element(selector)
        self.call("POST", element + "/clear", {})
        self.call("POST", element + "/value", {"text": text})

    def spoken(self, selector):
        """What a screen reader calls an element."""
        element = self.element(selector)
        return self.call("GET", element + "/computedrole"), self.call("GET", element + "/computedlabel")

    def press(self, *keys):
        """Keys for whatever has the focus."""
        strokes = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": strokes}]})

    def devtools(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def size(self, width, height, mobile=False):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=mobile)

    def media(self, kind="", scheme="light"):
        self.devtools("Emulation.setEmulatedMedia", media=kind,
                      features=[{"name": "prefers-color-scheme", "value": scheme}])

    def picture(self, folder, name):
        if folder:
            pathlib.Path(folder, name).write_bytes(base64.b64decode(self.call("GET", "/screenshot")))


@contextlib.contextmanager
def browser():
    with tempfile.TemporaryDirectory() as profile, tempfile.TemporaryFile("w+") as log:
        driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=log, stderr=subprocess.STDOUT)
        try:
            port = None
            while port is None:
                assert driver.poll() is None, "chromedriver ended"
                time.sleep(0.1)
                log.seek(0)
                for line in log.read().splitlines():
                    if "started successfully on port " in line:
                        port = line.rsplit(" ", 1)[1].rstrip(".")
            session = Browser(port, profile)
            try:
                yield session
            finally:
                session.call("DELETE", "")
        finally:
            driver.terminate()
            driver.wait()


def visible(page):
    """The cells of every row that is shown."""
    return page.run("return [...document.querySelectorAll('#records tbody tr')].filter(row => row.offsetParent !== null)"
                    ".map(row => [...row.cells].map(cell => cell.textContent))")


def colour(page, of, what="color"):
    return page.run("return getComputedStyle(document.querySelector(arguments[0]))[arguments[1]]", of, what)


def no_overflow(page, what):
    widths = page.run("return [document.documentElement.scrollWidth, window.innerWidth]")
    assert widths[0] <= widths[1], f"{what}: {widths[0]} pixels wide on a screen of {widths[1]}"


def check_table(page):
    rows = visible(page)
    total = len(rows)
    assert total > 300, total
    assert [row[2] for row in rows[:2]] == ["failed", "failed"], rows[:2]
    assert page.run("return document.getElementById('shown').textContent") == f"{total} of {total} records"

    page.type("#filter", "rack1-node1 s2")
    assert [row[4] for row in visible(page)] == ["Sample NVMe SSD S2 6.4TB 2.5in"], visible(page)
    page.type("#filter", "no such drive")
    assert visible(page) == []
    page.run("const f = document.getElementById('filter'); f.value = ''; f.dispatchEvent(new Event('input'));")
    page.run("const s = document.getElementById('outcome'); s.value = 'failed'; s.dispatchEvent(new Event('change'));")
    failed = visible(page)
    assert failed and all(row[2] == "failed" for row in failed), failed
    page.run("const s = document.getElementById('outcome'); s.value = ''; s.dispatchEvent(new Event('change'));")

    page.click("#records th:nth-child(2) button")
    positions = [int(row[1]) for row in visible(page)]
    assert positions == sorted(positions) and positions[-1] > 100, "sorted by number, not by text"
    page.click("#records th:nth-child(2) button")
    assert [int(row[1]) for row in visible(page)] == positions[::-1]
    assert page.run("return document.querySelector('th:nth-child(2)').getAttribute('aria-sort')") == "descending"


def check_keyboard(page):
    """Everything can be reached and used without a mouse, and has a name."""
    tab, enter, down = "\ue004", "\ue007", "\ue015"
    assert page.spoken("#filter") == ("searchbox", "Filter"), page.spoken("#filter")
    assert page.spoken("#outcome") == ("combobox", "Outcome"), page.spoken("#outcome")
    assert page.spoken("#records th:nth-child(6) button") == ("button", "Serial number")
    page.run("document.getElementById('filter').focus()")
    page.press(*"s2", tab, down, down)
    rows = visible(page)
    assert rows == [] and page.run("return document.activeElement.id") == "outcome", rows  # no failed record has a name
    page.press("\ue013", "\ue013", tab, enter)
    names = [row[0] for row in visible(page)]
    assert len(set(names)) > 1 and names == sorted(names), names
    page.press(enter)
    assert [row[0] for row in visible(page)][0] == names[-1], "Enter does not turn the order"
    page.call("POST", "/refresh", {})


def check_looks(page, pictures):
    page.size(1200, 900)
    page.media(scheme="light")
    light = colour(page, "body", "backgroundColor")
    no_overflow(page, "light")
    page.picture(pictures, "report-light.png")
    page.media(scheme="dark")
    assert colour(page, "body", "backgroundColor") != light, "dark looks like light"
    page.picture(pictures, "report-dark.png")

    page.media(scheme="light")
    page.size(390, 844, mobile=True)
    assert colour(page, "#records td", "display") == "grid", "rows are no cards on a phone"
    assert page.run("return window.innerWidth") == 390, "zoomed out on a phone"
    no_overflow(page, "phone")
    page.picture(pictures, "report-phone.png")
    page.run("document.querySelector('#records').scrollIntoView()")
    page.picture(pictures, "report-phone-table.png")

    page.size(1200, 900)
    page.media(kind="print", scheme="dark")
    assert colour(page, ".controls", "display") == "none", "controls on paper"
    assert colour(page, "body", "backgroundColor") == "rgb(255, 255, 255)", "paper is not white"
    paper = page.call("POST", "/print", {})
    if pictures:
        pathlib.Path(pictures, "report.pdf").write_bytes(base64.b64decode(paper))
    assert base64.b64decode(paper).startswith(b"%PDF"), "no paper"


def main():
    path, pictures = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]
    with browser() as page:
        page.size(1200, 900)
        page.call("POST", "/url", {"url": path.as_uri()})
        # The page, and nothing else, was loaded.
        assert page.run("return performance.getEntriesByType('resource').length") == 0
        assert page.run("return document.querySelectorAll('[src], link').length") == 0
        assert "default-src 'none'" in page.run("return document.querySelector('meta[http-equiv]').content")
        check_looks(page, pictures)
        page.media(scheme="light")
        check_keyboard(page)
        check_table(page)
        complaints = page.call("POST", "/se/log", {"type": "browser"})
        assert complaints == [], complaints


if __name__ == "__main__":
    main()
