"""Drives a headless browser over the report page. Arguments: page, page of 100,000 drives, folder for
screenshots or nothing."""
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


def visible(page, table="drives"):
    """The cells of every row that is drawn."""
    return page.run("return [...document.querySelectorAll(`#${arguments[0]} tbody tr:not(.spacer)`)]"
                    ".map(row => [...row.cells].map(cell => cell.textContent))", table)


def shown(page, table="drives"):
    return page.run("return document.querySelector(`#${arguments[0]} output`).textContent", table)


def choose(page, text):
    page.run("const s = document.querySelector('#drives select'); s.value = arguments[0];"
             "s.dispatchEvent(new Event('change'));", text)


def scroll(page, share):
    page.run("const s = document.querySelector('#drives .scroll'); s.scrollTop = s.scrollHeight * arguments[0];", share)
    page.run("return new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)))")


def colour(page, of, what="color"):
    return page.run("return getComputedStyle(document.querySelector(arguments[0]))[arguments[1]]", of, what)


def no_overflow(page, what):
    widths = page.run("return [document.documentElement.scrollWidth, window.innerWidth]")
    assert widths[0] <= widths[1], f"{what}: {widths[0]} pixels wide on a screen of {widths[1]}"


def check_table(page):
    rows = visible(page)
    total = int(shown(page).split()[2])
    assert total > 300, total
    assert shown(page) == f"{total} of {total} drives", shown(page)
    assert len(rows) < 200, f"{len(rows)} rows are drawn at once"
    assert rows[0][1] == "failed", rows[0]
    scroll(page, 1)
    assert len(visible(page)) < 200 and visible(page)[-1] != rows[-1], "the last rows do not come into view"
    scroll(page, 0)

    page.type("#drives input", "rack1-node1 s2")
    assert [row[3] for row in visible(page)] == ["Sample NVMe SSD S2 6.4TB 2.5in"], visible(page)
    page.type("#drives input", "no such drive")
    assert visible(page) == []
    page.run("const f = document.querySelector('#drives input'); f.value = ''; f.dispatchEvent(new Event('input'));")
    choose(page, "failed")
    failed = visible(page)
    assert failed and all(row[1] == "failed" for row in failed), failed
    choose(page, "")

    page.click("#drives th:nth-child(9) button")
    positions = [int(row[8]) for row in visible(page)]
    assert positions == sorted(positions), "sorted by text, not by number"
    page.click("#drives th:nth-child(9) button")
    positions = [int(row[8]) for row in visible(page)]
    assert positions == sorted(positions, reverse=True) and positions[0] >= 300, positions[:3]
    assert page.run("return document.querySelector('#drives th:nth-child(9)').getAttribute('aria-sort')") == "descending"


def check_servers(page):
    servers = {row[0]: row for row in visible(page, "servers")}
    assert servers["rack2-node3"][1] == "300", servers
    # The update and the inventory after it are of one server, where every drive counts once.
    assert servers["rack2-node1"][1:3] == ["3", "1"], servers["rack2-node1"]


def check_keyboard(page):
    """Everything can be reached and used without a mouse, and has a name."""
    tab, enter, down, escape = "\ue004", "\ue007", "\ue015", "\ue00c"
    assert page.spoken("#drives input") == ("searchbox", "Filter"), page.spoken("#drives input")
    assert page.spoken("#drives select") == ("combobox", "Outcome"), page.spoken("#drives select")
    assert page.spoken("#drives th:nth-child(5) button") == ("button", "Serial number")
    page.run("document.querySelector('#drives input').focus()")
    page.press(*"s2", tab, down)
    assert page.run("return document.activeElement.matches('#drives select')")
    assert all(row[1] == "failed" for row in visible(page)), visible(page)
    page.press("\ue013", tab, enter)
    names = [row[0] for row in visible(page)]
    assert len(set(names)) > 1 and names == sorted(names), names
    page.press(enter)
    assert [row[0] for row in visible(page)][0] == names[-1], "Enter does not turn the order"
    page.run("document.querySelector('#drives tbody tr:not(.spacer)').focus()")
    page.press(enter)
    assert page.run("return document.querySelector('#details').open"), "Enter opens no details"
    assert page.run("return document.querySelector('#details dd').textContent") == names[-1]
    page.press(escape)
    assert not page.run("return document.querySelector('#details').open")
    page.call("POST", "/refresh", {})


def check_speed(page, path):
    """100,000 drives: painted within 2 seconds, filtered and sorted within 300 ms."""
    page.call("POST", "/url", {"url": path.as_uri()})
    painted = page.run("return performance.getEntriesByName('first-contentful-paint')[0].startTime")
    total = int(shown(page).split()[2])
    assert total == 100000, total
    # The time until the next frame is drawn, not only that of the script.
    timed = ("const [act, done] = [arguments[0], arguments[1]]; const start = performance.now();"
             "new Function(act)(); requestAnimationFrame(() => setTimeout(() => done(performance.now() - start)));")
    times = {"first paint": (painted, 2000)}
    for what, act in {
            "first filter": "const f = document.querySelector('#drives input'); f.value = '99 s2';"
                            "f.dispatchEvent(new Event('input'))",
            "filter": "const f = document.querySelector('#drives input'); f.value = 'sim 7';"
                      "f.dispatchEvent(new Event('input'))",
            "sort": "document.querySelector('#drives th:nth-child(5) button').click()",
            "sort again": "document.querySelector('#drives th:nth-child(5) button').click()"}.items():
        times[what] = (page.call("POST", "/execute/async", {"script": timed, "args": [act]}), 300)
    for what, (taken, limit) in times.items():
        print(f"{what}: {taken:.0f} ms")
        assert taken < limit, f"{what}: {taken:.0f} ms"
    assert len(visible(page)) < 200


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
    assert colour(page, "#drives td", "display") == "block", "rows are no cards on a phone"
    assert page.run("return window.innerWidth") == 390, "zoomed out on a phone"
    no_overflow(page, "phone")
    page.picture(pictures, "report-phone.png")
    page.run("document.querySelector('#drives').scrollIntoView()")
    page.picture(pictures, "report-phone-table.png")

    page.size(1200, 900)
    page.media(kind="print", scheme="dark")
    assert colour(page, ".controls", "display") == "none", "controls on paper"
    assert colour(page, "body", "backgroundColor") == "rgb(255, 255, 255)", "paper is not white"
    drives = len(visible(page))
    assert f"{drives} of {drives} drives" == shown(page), "paper does not show every drive"
    clipped = page.run("return [...document.querySelectorAll('#drives td')].filter(cell =>"
                       " cell.scrollWidth > cell.clientWidth + 1).map(cell => cell.textContent)")
    assert clipped == [], clipped
    paper = page.call("POST", "/print", {"orientation": "landscape"})
    if pictures:
        pathlib.Path(pictures, "report.pdf").write_bytes(base64.b64decode(paper))
    assert base64.b64decode(paper).startswith(b"%PDF"), "no paper"
    page.media(scheme="light")
    assert len(visible(page)) < drives, "every row is still drawn"


def main():
    path, large, pictures = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve(), sys.argv[3]
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
        check_servers(page)
        check_table(page)
        check_speed(page, large)
        complaints = page.call("POST", "/se/log", {"type": "browser"})
        assert complaints == [], complaints


if __name__ == "__main__":
    main()
