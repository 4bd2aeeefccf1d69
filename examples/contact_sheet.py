#!/usr/bin/env python3
"""Makes a contact sheet of the pictures on cameras and cards: DIR/index.html and its thumbnails.

Exit status: 0 everything is on the sheet, 1 something is missing there and named with the reason,
or there is no device, or the components can't be used, 2 the command line can't be used. Nothing
on a device is changed.
"""

import argparse
import html
import pathlib
import sys
import xml.etree.ElementTree as ElementTree
from dataclasses import dataclass, field
from datetime import datetime

import zlkcamtr

# Cards hold documents and sounds too, which don't belong on the sheet.
PICTURES = {f".{suffix}" for suffix in """
    jpg jpeg jpe heic heif tif tiff png avif 3fr arw cr2 cr3 crw dng erf iiq kdc mef mos mrw nef nrw
    orf pef raf raw rw2 srf srw x3f 3gp avi m2ts m4v mov mp4 mpg mts wmv""".split()}

REASONS = {
    2: "Another program holds the device.",
    4: "The device gives none, or it can't be read.",
    6: "It can't be written into the folder of this sheet.",
    8: "The device can't do that.",
    9: "The device isn't connected.",
    12: "There is no memory for it, or no thumbnail library.",
}

STYLE = """
:root { color-scheme: light dark; --paper: #f6f6f4; --card: #fff; --ink: #1c1c1e;
        --faint: #63636a; --line: #dcdcd8; --empty: #ececea; --bad: #a4161a; }
@media (prefers-color-scheme: dark) {
    :root { --paper: #161618; --card: #212124; --ink: #ededf0;
            --faint: #a2a2aa; --line: #38383d; --empty: #2d2d31; --bad: #ff9d97; } }
* { box-sizing: border-box; margin: 0; }
body { max-width: 76rem; margin: auto; padding: clamp(0.9rem, 3vw, 2rem); background: var(--paper);
       color: var(--ink); font: 0.9rem/1.4 system-ui, sans-serif; overflow-wrap: anywhere; }
h1 { font-size: 1.6rem; }
h2 { margin: 1.8rem 0 0.8rem; padding-bottom: 0.3rem; border-bottom: 1px solid var(--line);
     font-size: 1.15rem; }
h2 span, p { color: var(--faint); font-size: 0.8rem; font-weight: normal; }
section { display: grid; grid-template-columns: repeat(auto-fill, minmax(9rem, 1fr)); gap: 0.7rem; }
figure { overflow: hidden; background: var(--card); border: 1px solid var(--line);
         border-radius: 0.5rem; break-inside: avoid; }
img, .box { display: grid; place-items: center; width: 100%; aspect-ratio: 4 / 3;
            object-fit: contain; background: var(--empty); }
.box { padding: 0.6rem; text-align: center; }
.box, .trouble { color: var(--bad); }
figcaption { padding: 0.5rem 0.7rem 0.6rem; }
"""


@dataclass
class Picture:
    name: str
    date: str
    size: int
    thumbnail: str = ""  # a file in the folder of the sheet; empty if there is none
    reason: str = ""     # why there is no thumbnail


@dataclass
class Device:
    name: str
    context_id: str
    prog_id: str
    pictures: list[Picture] = field(default_factory=list)
    trouble: str = ""  # why not all pictures are known

    @property
    def complete(self) -> bool:
        return not self.trouble and all(picture.thumbnail for picture in self.pictures)


def attached_devices() -> list[Device]:
    document = zlkcamtr.dispatch("ZlkCamTr.DeviceList").UnloadDevices
    return [Device(entry.findtext("friendlyName"), entry.findtext("contextId"),
                   entry.findtext("progId"))
            for entry in ElementTree.fromstring(document).iter("device")]


def chosen_devices(attached: list[Device], words: list[str]) -> list[Device]:
    """The devices that the words name, in that order. KeyError with a word that names none."""
    chosen = []
    for word in words:
        named = [device for device in attached
                 if word.casefold() in (device.name.casefold(), device.context_id.casefold())]
        if not named:
            raise KeyError(word)
        chosen += [device for device in named if device not in chosen]
    return chosen


def reason_of(error: zlkcamtr.ComError) -> str:
    return REASONS.get(error.ErrorCode, error.description)


def shown_date(text: str) -> str:
    """A device's date with the year first; a text that isn't a date stays as it is."""
    try:
        return f"{datetime.strptime(text, '%m/%d/%Y %H:%M:%S'):%Y-%m-%d %H:%M}"
    except ValueError:
        return text


def shown_size(size: int) -> str:
    return f"{size / 1e6:.1f} MB" if size >= 1e6 else f"{size / 1e3:.1f} kB"


def look_through(device: Device, folder: pathlib.Path, prefix: str) -> None:
    """Fills in the pictures of a device, and puts their thumbnails into the folder."""
    try:
        camera = zlkcamtr.dispatch(device.prog_id)
        with zlkcamtr.locked(camera, device.context_id):
            for file in ElementTree.fromstring(camera.GetFileInfo()).iter("file"):
                # The camera's names may hold any characters, so thumbnails have our own.
                name = file.findtext("camerapath").rpartition("\\")[2]
                if pathlib.PurePath(name).suffix.lower() not in PICTURES:
                    continue
                picture = Picture(name, shown_date(file.findtext("modified")),
                                  int(file.findtext("size")))
                device.pictures.append(picture)
                path = folder / f"{prefix}-{len(device.pictures):04}.jpg"
                save_thumbnail(camera, file.findtext("id"), path, picture)
    except zlkcamtr.ComError as error:
        device.trouble = reason_of(error)


def save_thumbnail(camera: zlkcamtr.Dispatch, file_id: str, path: pathlib.Path,
                   picture: Picture) -> None:
    try:
        camera.SaveThumbnail(file_id, path)
        if path.read_bytes().startswith(b"\xff\xd8\xff"):
            picture.thumbnail = path.name
            return
        picture.reason = "What the device gave is no JPEG."
    except zlkcamtr.ComError as error:
        picture.reason = reason_of(error)
    path.unlink(missing_ok=True)


def figure(picture: Picture) -> str:
    name = html.escape(picture.name)
    shown = (f'<img src="{picture.thumbnail}" alt="{name}">' if picture.thumbnail
             else f'<div class="box">No thumbnail. {html.escape(picture.reason)}</div>')
    return (f"<figure>{shown}<figcaption><bdi>{name}</bdi>"
            f"<p>{html.escape(picture.date)}<br>{shown_size(picture.size)}</p>"
            "</figcaption></figure>")


def chapter(device: Device) -> str:
    trouble = f'<p class="trouble">{html.escape(device.trouble)}</p>' if device.trouble else ""
    figures = "\n".join(figure(picture) for picture in device.pictures)
    return (f"<h2>{html.escape(device.name)} <span>{counted(device)}</span></h2>\n{trouble}"
            f"<section>\n{figures}\n</section>\n")


def counted(device: Device) -> str:
    count = len(device.pictures)
    return "1 picture" if count == 1 else f"{count} pictures"


def page(devices: list[Device]) -> str:
    chapters = "".join(chapter(device) for device in devices)
    return ('<!DOCTYPE html>\n<html lang="en">\n<meta charset="utf-8">\n'
            '<meta name="viewport" content="width=device-width">\n'
            f"<title>Contact sheet</title>\n<style>{STYLE}</style>\n"
            f"<h1>Contact sheet</h1>\n<p>{datetime.now():%Y-%m-%d %H:%M}</p>\n"
            f"{chapters}</html>\n")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("devices", metavar="DEVICE", nargs="*",
                        help="a name or context id; without any, all that are attached")
    parser.add_argument("--out", metavar="DIR", required=True, type=pathlib.Path,
                        help="a new or empty folder")
    options = parser.parse_args()

    attached = attached_devices()
    try:
        devices = chosen_devices(attached, options.devices) if options.devices else attached
    except KeyError as error:
        names = ", ".join(device.name for device in attached) or "none"
        parser.error(f"No device {error} is attached. Attached now: {names}.")
    if not devices:
        print("No camera or card is attached.", file=sys.stderr)
        return 1
    options.out.mkdir(parents=True, exist_ok=True)
    if any(options.out.iterdir()):
        parser.error(f"There is something in {options.out} already.")

    for number, device in enumerate(devices, 1):
        look_through(device, options.out.resolve(), str(number))
        print(f"{device.name}: {counted(device)}. {device.trouble}".rstrip(), flush=True)
    (options.out / "index.html").write_text(page(devices), encoding="utf-8")
    return 0 if all(device.complete for device in devices) else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except zlkcamtr.ComError as error:
        sys.exit(f"The components can't be used: {error}")
