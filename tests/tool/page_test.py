"""The service's page, in a real browser: page_test.py AUDIOMATCH"""

import array
import contextlib
import http.client
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.wait import WebDriverWait

from service_test import Server, TOKEN
from tool_runner import RATE, noise, run, write_wav

SOURCES = pathlib.Path(__file__).resolve().parents[2] / "tool/service/page"
MARKUP = "<b onclick=fail>two & <img src=x onerror=fail>"
ARABIC = "سيمفونية رقم ٤٠"
LONG = "a" * 120 + " " + "Rindfleischetikettierung" * 4
# A machine's address that isn't this one's; the browser takes it here all the same.
ELSEWHERE = "192.0.2.1"
# Answers of a server that isn't this one, by path, with a query or without, in place of its own:
# [status, object], [0] of one that is away, [-1] of one that never answers.
FAKE = """
const real = window.fetch;
window.fetch = async (path, options) => {
  const [status, object] = window.fake?.[path] ?? window.fake?.[path.split("?")[0]] ?? [];
  if (status === 0) throw new TypeError("away");
  if (status === -1) return new Promise(() => {});
  return status ? new Response(JSON.stringify(object), { status }) : real(path, options);
};
"""
# How many pixels of a canvas have the colour of what agrees; -1 for one of a single colour.
ACCENT = """
const [red, green, blue] = getComputedStyle(document.documentElement).getPropertyValue("--accent")
  .match(/[0-9a-f]{2}/gi).map((part) => parseInt(part, 16));
const canvas = document.getElementById(arguments[0]);
const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
const colours = new Set(new Uint32Array(data.buffer));
let count = 0;
for (let i = 0; i < data.length; i += 4)
  count += data[i] === red && data[i + 1] === green && data[i + 2] === blue;
return colours.size < 2 ? -1 : count;
"""


def open_browser(microphone):
    options = webdriver.ChromeOptions()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--window-size=1200,1000",
                     "--use-fake-device-for-media-stream",
                     f"--use-file-for-fake-audio-capture={microphone}",
                     f"--host-resolver-rules=MAP {ELSEWHERE} 127.0.0.1"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.addClassCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        cls.recordings = {name: noise(name, 20) for name in ("one", MARKUP, ARABIC, LONG)}
        os.mkdir("references")
        for name, samples in cls.recordings.items():
            write_wav(f"references/{name}.wav", samples)
        assert run("index", "db", "references")[0] == 0
        write_wav("one.wav", cls.recordings["one"][6 * RATE : 12 * RATE])
        write_wav("markup.wav", cls.recordings[MARKUP][6 * RATE : 12 * RATE])
        write_wav("long.wav", cls.recordings[LONG][6 * RATE : 12 * RATE])
        write_wav("unknown.wav", noise("unknown", 6))
        write_wav("silence.wav", array.array("h", bytes(8 * RATE)))
        write_wav("short.wav", noise("short", 0.05))
        write_wav("minutes.wav", noise("x", 50) + cls.recordings["one"] + noise("y", 50))
        pathlib.Path("text.txt").write_text("no sound at all")
        # A browser's microphone is one that plays this again and again.
        subprocess.run(["sox", "-v", "0.3", "one.wav", "-r", "48000", "microphone.wav"], check=True)
        cls.browser = open_browser(pathlib.Path("microphone.wav").resolve())
        cls.addClassCleanup(cls.browser.quit)
        cls.command("Page.addScriptToEvaluateOnNewDocument", source=FAKE)

    @classmethod
    def command(cls, name, **arguments):
        return cls.browser.execute_cdp_cmd(name, arguments)

    def setUp(self):
        self.hosts = set()

    def tearDown(self):
        # What the page asked for came from its server, and the console has nothing but the
        # browser's own lines: on answers that aren't 200, and on reading canvases as a test does.
        for entry in self.browser.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                url = message["params"]["request"]["url"]
                self.assertTrue(url.startswith(tuple(self.hosts)), url)
        for entry in self.browser.get_log("browser"):
            self.assertIn(entry["source"], ("network", "rendering"), entry)

    @contextlib.contextmanager
    def page(self, *arguments, port=0):
        with Server(*(arguments or ("--db", "db")), port=port) as server:
            self.open(server.url)
            yield server

    def open(self, url):
        self.hosts |= {url + "/", "data:", "chrome:", "about:"}
        self.browser.get(url + "/")
        # It has begun to look after the server, or else says why it can't.
        self.until(lambda: self.text("air-note") != "Asking the server …")

    def element(self, name):
        return self.browser.find_element(By.ID, name)

    def text(self, name):
        return self.element(name).text

    def until(self, condition):
        return WebDriverWait(self.browser, 40).until(lambda _: condition())

    def upload(self, name):
        self.element("file").send_keys(str(pathlib.Path(name).resolve()))

    def expect(self, kind, what, headline):
        """Waits for an answer of a kind to a question."""
        self.until(lambda: self.text("kind") == f"{kind} · {what}")
        self.assertIn(headline, self.text("name"))

    def accent(self, canvas):
        return self.browser.execute_script(ACCENT, canvas)

    def test_its_files(self):
        with Server("--read-token-file", self.token()) as server:
            connection = http.client.HTTPConnection("127.0.0.1", server.port, timeout=30)
            self.addCleanup(connection.close)

            def ask(method, path, **headers):
                connection.request(method, path, headers=headers)
                answer = connection.getresponse()
                return answer.status, answer.headers, answer.read()

            for path, kind in (("/", "text/html"), ("/page/main.js", "text/javascript"),
                               ("/page/page.css", "text/css"), ("/page/icon.svg", "image/svg+xml")):
                source = SOURCES / (path.rpartition("/")[2] or "index.html")
                status, headers, body = ask("GET", path)
                self.assertEqual((status, body), (200, source.read_bytes()))
                self.assertEqual(headers["Content-Type"].split(";")[0], kind)
                self.assertIn("default-src 'none'", headers["Content-Security-Policy"])
                # Neither has a body, and the connection goes on.
                status, again, body = ask("HEAD", path)
                self.assertEqual((status, body, again["Content-Length"]),
                                 (200, b"", headers["Content-Length"]))
                status, _, body = ask("GET", path, **{"If-None-Match": headers["ETag"]})
                self.assertEqual((status, body), (304, b""))
                self.assertEqual(ask("GET", path, **{"If-None-Match": '"other"'})[0], 200)
            self.assertEqual([ask("GET", path)[0] for path in ("/page/", "/page/../page.h", "/x")],
                             [404] * 3)

    def test_a_file_is_recognised_and_drawn(self):
        self.command("Emulation.setDeviceMetricsOverride", width=1000, height=900,
                     deviceScaleFactor=2, mobile=False)
        self.addCleanup(self.command, "Emulation.clearDeviceMetricsOverride")
        with self.page():
            self.until(lambda: self.text("stock") == "4 references · 0 on air")
            self.upload("one.wav")
            self.expect("Recognised", "one.wav", "one")
            self.assertEqual(self.text("where"), "0:06 – 0:12 of the reference")
            self.assertRegex(self.text("sure"), "^Certain: [0-9,]+ of [0-9,]+ hits agree$")
            self.assertGreater(int(self.element("meter").get_attribute("aria-valuenow")), 90)
            # As sharp as the screen, and with the hits in it.
            canvas = self.element("spectrogram")
            self.assertAlmostEqual(int(canvas.get_attribute("width")), 2 * canvas.size["width"],
                                   delta=2)
            self.assertGreater(self.accent("spectrogram"), 100)
            self.assertGreater(self.accent("hits"), 100)
            for file, kind, headline in (("unknown.wav", "Not recognised", "Not known here"),
                                         ("silence.wav", "Silence", "Only silence"),
                                         ("short.wav", "No features", "Too short")):
                self.upload(file)
                self.expect(kind, file, headline)
                self.assertLessEqual(self.accent("spectrogram"), 0)
                # Nothing is drawn in an empty box.
                self.assertEqual(self.element("spectrogram").is_displayed(), file == "unknown.wav")
            # A name is text, whatever it holds.
            self.upload("markup.wav")
            self.expect("Recognised", "markup.wav", MARKUP)
            self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, "#answer b, img"), [])

    def test_what_goes_wrong_is_told_apart(self):
        with self.page() as server:
            self.upload("text.txt")
            self.expect("No answer", "text.txt", "isn’t a recording")
            self.upload("minutes.wav")
            self.expect("No answer", "minutes.wav", "too long")
            self.element("action").click()
            self.expect("Recognised", "minutes.wav", "one")
            self.assertIn("from 0:45 on", self.text("remarks"))
            answer = server.recognise(pathlib.Path("one.wav").read_bytes())[1]
            self.fake({"/v1/recognise": [200, {**answer, "damaged": "pages are gone"}]})
            self.upload("one.wav")
            self.expect("Recognised", "one.wav", "one")
            self.assertIn("pages are gone", self.text("caution"))
            # Of another in between.
            self.fake({"/v1/recognise": [200, None]})
            self.upload("unknown.wav")
            self.expect("No answer", "unknown.wav", "can’t be reached")
            self.fake({})
            port = server.port
        self.upload("unknown.wav")
        self.expect("No answer", "unknown.wav", "can’t be reached")
        self.until(lambda: "can’t be reached" in self.text("banner"))
        with Server("--db", "db", port=port):
            self.until(lambda: not self.element("banner").is_displayed())
            self.element("action").click()
            self.expect("Not recognised", "unknown.wav", "Not known here")

    def test_a_store_that_is_away_is_no_verdict(self):
        away = [503, {"error": "nothing of the store answers"}]
        with self.page() as server:
            bodies = [pathlib.Path(name).read_bytes() for name in ("unknown.wav", "one.wav")]
            unknown, known = ([200, {**server.recognise(body)[1], "partial": True}]
                              for body in bodies)
            self.fake({"/v1/recognise?drawing=1": unknown})
            self.upload("unknown.wav")
            self.expect("No answer", "unknown.wav", "Can’t say now")
            self.assertIn("A part of the store can’t be reached", self.text("where"))
            self.assertFalse(self.element("sureness").is_displayed())
            # It asks the same once more, and waits for the answer.
            self.fake({"/v1/recognise?drawing=1": unknown, "/v1/recognise?drawing=1&wait=1": [-1]})
            self.assertEqual(self.text("action"), "Ask again and wait")
            self.element("action").click()
            self.until(lambda: "Waiting for the store" in self.text("name"))
            # Raw samples with what they are.
            self.fake({"/v1/recognise?rate=16000&channels=1&format=s16le&drawing=1": unknown})
            self.upload("minutes.wav")
            self.expect("No answer", "minutes.wav", "too long")
            self.element("action").click()
            self.expect("No answer", "minutes.wav", "Can’t say now")
            self.element("action").click()
            self.expect("Recognised", "minutes.wav", "one")
            self.fake({"/v1/recognise": known})
            self.upload("one.wav")
            self.expect("Recognised", "one.wav", "one")
            self.assertIn("may be incomplete", self.text("caution"))
            self.assertFalse(self.element("action").is_displayed())
            # All of it is away: each outcome is told, and nothing is left of what was before.
            self.fake({"/v1/recognise": [-1], "/v1/channels": away, "/v1/references": away,
                       "/healthz": [200, {"status": "degraded", "store": "failing"}]})
            self.upload("unknown.wav")
            self.until(lambda: self.text("kind") == "unknown.wav")
            self.assertEqual(self.text("name"), "Asking …")
            for name in ("where", "caution", "sure", "figure", "further", "remarks"):
                self.assertEqual(self.text(name), "")
            self.until(lambda: self.text("banner") ==
                       "The store can’t be reached. Answers may be incomplete.")
            self.until(lambda: "isn’t known right now" in self.text("air-note"))
            self.fake({"/v1/recognise": away})
            self.upload("one.wav")
            self.expect("No answer", "one.wav", "can’t answer now")
            self.assertIn("nothing of the store answers", self.text("where"))
            self.until(lambda: not self.element("banner").is_displayed())
            self.fake({})
            self.element("action").click()
            self.expect("Recognised", "one.wav", "one")

    def fake(self, answers):
        self.browser.execute_script("window.fake = arguments[0]", answers)

    def test_a_file_is_dropped(self):
        with self.page():
            file = str(pathlib.Path("one.wav").resolve())
            for kind in ("dragEnter", "dragOver", "drop"):
                self.command("Input.dispatchDragEvent", type=kind, x=300, y=300,
                             data={"items": [], "files": [file], "dragOperationsMask": 1})
                self.until(lambda: self.element("curtain").is_displayed() == (kind != "drop"))
            self.expect("Recognised", "one.wav", "one")

    def allow_microphone(self, server, setting):
        self.command("Browser.setPermission", permission={"name": "microphone"}, setting=setting,
                     origin=server.url)

    def test_the_microphone_is_heard(self):
        with self.page() as server:
            self.allow_microphone(server, "denied")
            self.element("listen").click()
            self.expect("No answer", "microphone", "was refused")
            self.allow_microphone(server, "granted")
            self.element("listen").click()
            self.expect("Recognised", "microphone", "one")
            self.assertEqual(self.text("listen-text"), "Listen")
        with self.page("--read-token-file", self.token()) as server:
            # Nothing is known without references; it goes on until it is stopped.
            self.give_token()
            self.allow_microphone(server, "granted")
            self.element("listen").click()
            self.until(lambda: "Not recognised yet" in self.text("name"))
            self.element("listen").click()
            self.expect("Stopped", "microphone", "Nothing recognised")
        with self.page() as server:
            self.open(f"http://{ELSEWHERE}:{server.port}")
            self.element("listen").click()
            self.expect("No answer", "microphone", "keeps the microphone")
            self.assertIn("https", self.text("where"))

    def token(self):
        pathlib.Path("token").write_text(TOKEN)
        return "token"

    def give_token(self, token=TOKEN):
        self.until(lambda: self.element("token").is_displayed())
        self.element("token").send_keys(token, Keys.ENTER)

    def test_a_token_is_asked_for(self):
        with self.page("--db", "db", "--read-token-file", self.token()):
            self.upload("one.wav")
            self.expect("No answer", "one.wav", "asks for a token")
            self.give_token("not this one, but as long")
            self.until(lambda: "isn’t the right one" in self.text("token-note"))
            self.give_token()
            self.expect("Recognised", "one.wav", "one")
            self.assertFalse(self.element("token-form").is_displayed())
            self.until(lambda: self.text("stock") == "4 references · 0 on air")
            self.browser.execute_script("sessionStorage.clear()")

    def test_the_keyboard_is_enough(self):
        with self.page() as server:
            self.allow_microphone(server, "granted")
            keys = ActionChains(self.browser)
            self.command("Page.setInterceptFileChooserDialog", enabled=True)
            self.addCleanup(self.command, "Page.setInterceptFileChooserDialog", enabled=False)
            for name in ("listen", "choose"):
                keys.send_keys(Keys.TAB).perform()
                focused = self.browser.switch_to.active_element
                self.assertEqual(focused.get_attribute("id"), name)
                self.assertNotEqual(focused.value_of_css_property("outline-style"), "none")
            keys.send_keys(Keys.ENTER).perform()
            self.until(lambda: any("Page.fileChooserOpened" in entry["message"]
                                   for entry in self.browser.get_log("performance")))
            keys.key_down(Keys.SHIFT).send_keys(Keys.TAB).key_up(Keys.SHIFT).perform()
            keys.send_keys(" ").perform()
            self.expect("Recognised", "microphone", "one")
            self.assertEqual(self.element("verdict").get_attribute("aria-live"), "polite")

    def test_channels_and_long_names_fit_a_phone(self):
        pairs = [[96 + number, number] for number in range(500)]
        with self.page() as server:
            for channel, name in ((7, ARABIC), (2147483647, LONG + "<i>")):
                message = {"name": name, "session": "a", "update": 1, "monitor": 600,
                           "analyses": [{"number": 3, "attributes": pairs}]}
                server.ask("POST", f"/v1/channels/{channel}", json.dumps(message),
                           Content_Type="application/json")
            self.until(lambda: self.text("channels").count("500 attributes") == 2)
            self.assertIn(LONG + "<i>", self.text("channels"))
            self.addCleanup(self.command, "Emulation.clearDeviceMetricsOverride")
            self.upload("long.wav")
            self.expect("Recognised", "long.wav", LONG)
            for width in (320, 360, 1280):
                self.command("Emulation.setDeviceMetricsOverride", width=width, height=700,
                             deviceScaleFactor=1, mobile=width < 500)
                self.assertLessEqual(self.browser.execute_script(
                    "return document.documentElement.scrollWidth"), width)
                outside = self.browser.execute_script(
                    "return [...document.querySelectorAll('main *')].filter((each) => each"
                    ".getBoundingClientRect().right > innerWidth).map((each) => each.outerHTML)")
                self.assertEqual(outside, [])


if __name__ == "__main__":
    unittest.main()
