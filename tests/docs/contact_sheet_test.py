#!/usr/bin/env python3
"""The example's contact sheet of the demo's devices, as a browser shows it.

usage: contact_sheet_test.py BIN [--picture FILE]
--picture writes a picture of the sheet and tests nothing.
"""

import html
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import demo_devices
import zlkcamtr
from browser import Browser

EXAMPLE = pathlib.Path(__file__).parents[2] / "examples" / "contact_sheet.py"
BIN = pathlib.Path(sys.argv[1]).resolve()
CARD = "#Zephyr-Lanthorn#RemovableDrive#E"
FOLDERS = {"WEDDING (E:)": "card", "ZL Glimmerbox 283 camera": "camera",
           "ZL Glimmerbox 476 camera": "docked"}

# What a reader sees: each heading with the pictures below it.
SEEN = """Promise.all([...document.images].map(image => image.decode().catch(() => 0))).then(() =>
    [...document.querySelectorAll("h2")].map((heading, chapter) => ({
        title: heading.firstChild.data.trim(),
        count: heading.querySelector("span").innerText,
        pictures: [...document.querySelectorAll("section")[chapter].children].map(figure => ({
            name: figure.querySelector("bdi").textContent,
            told: figure.querySelector("p").innerText,
            width: figure.querySelector("img")?.naturalWidth ?? 0,
            alt: figure.querySelector("img")?.alt ?? "",
            box: figure.querySelector(".box")?.innerText ?? ""}))})))"""

TOO_WIDE = """[...document.querySelectorAll("html, figure")]
    .filter(element => element.scrollWidth > element.clientWidth)
    .map(element => element.outerHTML.slice(0, 200))"""


def make_sheet(folder, *devices):
    return subprocess.run([sys.executable, EXAMPLE, *devices, "--out", folder], text=True,
                          capture_output=True, timeout=120, check=False)


def pictures_in(folder):
    return sorted(path.name for path in folder.rglob("*") if path.suffix.lower() == ".jpg")


class ContactSheet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.devices = cls.enterClassContext(demo_devices.attached(BIN))
        cls.browser = cls.enterClassContext(Browser())

    def setUp(self):
        self.sheet = pathlib.Path(self.enterContext(
            tempfile.TemporaryDirectory(prefix="zlk-sheet-"))) / "new"

    def add_to_card(self, name):
        picture = self.devices / "card" / name
        shutil.copy(self.devices / "card/DCIM/100CAM/PICT0001.JPG", picture)
        self.addCleanup(picture.unlink)

    def open_sheet(self):
        self.browser.open((self.sheet / "index.html").as_uri())
        return {entry["title"]: entry for entry in self.browser.evaluate(SEEN)}

    def make_whole_sheet(self):
        made = make_sheet(self.sheet)
        self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
        return self.open_sheet()

    def test_shows_every_picture_and_what_it_is_called(self):
        seen = self.make_whole_sheet()
        self.assertEqual(set(seen), set(FOLDERS))
        for title, folder in FOLDERS.items():
            pictures = seen[title]["pictures"]
            self.assertEqual(sorted(picture["name"] for picture in pictures),
                             pictures_in(self.devices / folder))
            self.assertEqual(seen[title]["count"], f"{len(pictures)} pictures")
            for picture in pictures:
                self.assertGreater(picture["width"], 0, picture)
                self.assertEqual(picture["alt"], picture["name"])
        first = seen["WEDDING (E:)"]["pictures"][0]
        self.assertEqual((first["name"], first["told"]),
                         ("PICT0001.JPG", "2006-07-15 10:00\n609.0 kB"))

    def test_fits_a_phone_and_a_desk_by_day_and_by_night(self):
        self.add_to_card("W" * 200 + ".jpg")
        self.make_whole_sheet()
        paper = set()
        for width, scheme in ((390, "light"), (390, "dark"), (1200, "dark")):
            self.browser.shape(width, 800, scheme)
            self.assertEqual(self.browser.evaluate(TOO_WIDE), [], width)
            paper.add(self.browser.evaluate("getComputedStyle(document.body).backgroundColor"))
        self.assertEqual(len(paper), 2)

    def test_takes_no_name_for_markup_or_a_path(self):
        hostile = ["<img src=x onerror=alert(1)>.jpg", "'\"&amp;<b>.JPG", "a\\..\\..\\up.jpg"]
        for name in hostile:
            self.add_to_card(name)
        pictures = self.make_whole_sheet()["WEDDING (E:)"]["pictures"]
        self.assertEqual(len(pictures), len(pictures_in(self.devices / "card")))
        self.assertEqual([picture for picture in pictures if picture["width"] == 0], [])
        self.assertLess(set(hostile[:2]), {picture["name"] for picture in pictures})

        self.assertEqual(self.browser.named("Page.javascriptDialogOpening"), [])
        self.assertEqual(self.browser.evaluate("document.querySelectorAll('[onerror], b').length"), 0)
        asked = self.browser.named("Network.requestWillBeSent")
        self.assertEqual({entry["request"]["url"].rpartition("/")[0] for entry in asked},
                         {self.sheet.as_uri()})
        for path in self.sheet.iterdir():
            self.assertRegex(path.name, r"^(index\.html|[1-3]-\d{4}\.jpg)$")

    def test_goes_on_after_what_fails(self):
        self.add_to_card("DCIM/100CAM/" + "x" * 250 + ".JPG")  # too long a path for a thumbnail
        self.tell("fault patch op=0x100A bytes=4749")
        made = make_sheet(self.sheet, "wedding (e:)", "#zephyr-lanthorn#cam283#0000")
        self.assertEqual(made.returncode, 1, made.stderr)
        seen = self.open_sheet()
        self.assertEqual(list(seen), list(FOLDERS)[:2])
        for title, reason in zip(seen, ("can't be read", "no JPEG")):
            boxes = [picture["box"] for picture in seen[title]["pictures"]
                     if picture["width"] == 0]
            self.assertEqual(len(boxes), 1, title)
            self.assertIn(reason, boxes[0])
        thumbnails = list(self.sheet.glob("*.jpg"))
        self.assertEqual(len(thumbnails), sum(len(entry["pictures"]) for entry in seen.values()) - 2)

    def test_names_a_device_that_is_held_and_one_that_goes(self):
        self.tell("fault unplug op=0x100A")
        self.addCleanup(self.tell, "plug")
        with zlkcamtr.locked(zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera"), CARD):
            made = make_sheet(self.sheet)
        self.assertEqual(made.returncode, 1, made.stderr)
        page = (self.sheet / "index.html").read_text(encoding="utf-8")
        self.assertIn('<p class="trouble">Another program holds the device.</p>', page)
        self.assertIn(html.escape("The device isn't connected."), page)
        self.assertEqual(len(self.open_sheet()["ZL Glimmerbox 476 camera"]["pictures"]),
                         len(pictures_in(self.devices / "docked")))

    def test_refuses_what_it_would_spoil_or_does_not_know(self):
        self.sheet.mkdir()
        (self.sheet / "mine").write_text("mine", encoding="utf-8")
        self.assertEqual(make_sheet(self.sheet).returncode, 2)
        self.assertEqual([path.name for path in self.sheet.iterdir()], ["mine"])
        unknown = make_sheet(self.sheet / "new", "nonsense")
        self.assertEqual(unknown.returncode, 2)
        self.assertIn("WEDDING (E:)", unknown.stderr)

    def tell(self, command):
        subprocess.run([BIN / "zlkcamsim", "tell", self.devices / "camera.control",
                        *command.split()], check=True, stdout=subprocess.DEVNULL)


def take_picture(target):
    with demo_devices.attached(BIN), tempfile.TemporaryDirectory() as folder, Browser() as browser:
        sheet = pathlib.Path(folder) / "sheet"
        made = make_sheet(sheet)
        if made.returncode != 0:
            sys.exit(made.stderr)
        browser.shape(1100, 900)
        browser.open((sheet / "index.html").as_uri())
        browser.shape(1100, browser.evaluate("document.documentElement.scrollHeight"))
        browser.evaluate(SEEN)
        pathlib.Path(target).write_bytes(browser.picture())


if __name__ == "__main__":
    if "--picture" in sys.argv:
        take_picture(sys.argv[3])
    else:
        unittest.main(argv=sys.argv[:1])
