"""What must hold of a card and of the copies of its pictures, whatever has gone wrong.

It knows nothing of the client but that copies which aren't whole have hidden names, or lie in a
hidden folder.
"""

import os
import pathlib
import re
import xml.etree.ElementTree


SECTOR = 512
MARK = b"PICTURE\0"
MARK_SIZE = 24


def picture(number, size):
    """Bytes that no two numbers have in common. Each sector begins with a mark, by which a disk
    knows whose it is."""
    state, made = number, bytearray()
    while len(made) < size:
        made += MARK + number.to_bytes(8, "little") + (len(made) // SECTOR).to_bytes(8, "little")
        for _ in range((SECTOR - MARK_SIZE) // 8):
            state = (state * 6364136223846793005 + 1442695040888963407) % 2 ** 64
            made += state.to_bytes(8, "little")
    return bytes(made[:size])


def marks(data):
    """Of data that begins at a sector: where a sector of a picture lies, the picture's number, and
    which of its sectors it is."""
    for at in range(0, len(data) - MARK_SIZE + 1, SECTOR):
        if data[at:at + len(MARK)] == MARK:
            words = data[at + len(MARK):at + MARK_SIZE]
            yield at, int.from_bytes(words[:8], "little"), int.from_bytes(words[8:], "little")


# What a repair of a FAT calls that for which it found no name.
REPAIRED = re.compile(r"FSCK\d{4}\.REC")


def is_hidden(path):
    return any(part.startswith(".") or REPAIRED.fullmatch(part) for part in path.parts)


def is_record(path):
    """Of what was copied: it comes with the copies, and is whole or isn't there."""
    return path.parts[0] == "ascmhl"


def is_well_formed(data):
    try:
        xml.etree.ElementTree.fromstring(data or b"")
    except xml.etree.ElementTree.ParseError:
        return False
    return True


def files_below(folder):
    """Contents by path below the folder; None of what can't be read."""
    paths = (pathlib.Path(place) / name for place, _, names in os.walk(folder) for name in names)
    return {path.relative_to(folder): _contents(path) for path in paths}


def _contents(path):
    try:
        return path.read_bytes()
    except OSError:
        return None


def fill(folder, files):
    for name, data in files.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


class Ledger:
    """The pictures that a card had, by path, and what lay in the folder of the copies before."""

    def __init__(self, pictures, before):
        self.pictures, self.before = ({pathlib.Path(name): data for name, data in files.items()}
                                      for files in (pictures, before))

    def faults(self, card, copies):
        """What has been lost or spoilt, a line each; none if all is well."""
        on_card, all_there = files_below(card), files_below(copies)
        there = {path: data for path, data in all_there.items() if not is_hidden(path)}
        whole, hidden = set(there.values()), {data: path for path, data in all_there.items()}
        for path, data in self.pictures.items():
            if on_card.get(path) != data and data not in whole:
                yield f"{path} is lost" + (f", but for {hidden[data]}" if data in hidden else "")
        for path, data in self.before.items():
            if there.get(path) != data:
                yield f"{path}, which was there before, was changed"
        wanted = set(self.pictures.values())
        for path, data in there.items():
            is_mine = path in self.before or (data in wanted if not is_record(path)
                                              else is_well_formed(data))
            if not is_mine:
                yield f"{path} isn't whole"

    def is_complete(self, card, copies):
        """Whether all was copied, and nothing is left on the card."""
        return not files_below(card) and self.copied(copies) == len(self.pictures)

    def copied(self, copies):
        """How many of the pictures are there."""
        there = set(named_below(copies).values())
        return sum(data in there for data in self.pictures.values())


def named_below(folder):
    return {path: data for path, data in files_below(folder).items() if not is_hidden(path)}


def left_behind(folder):
    return [path for path in files_below(folder) if is_hidden(path)]
