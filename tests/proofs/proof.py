"""What the proofs have in common: guests from tests/guest, and how they end."""

import pathlib
import sys

GUEST = pathlib.Path(__file__).resolve().parents[1] / "guest"
sys.path.insert(0, str(GUEST))
import aligned  # noqa: E402
import machine  # noqa: E402

WELL, FAILED, SKIPPED = 0, 1, 77
SYSTEMS = ("ext4", "vfat", "exfat")


def end(heads, rows):
    """Prints the table, in which each row has `cells` and `is_well`; the exit status."""
    aligned.print_lines([[*heads, "verdict"],
                         *([*row.cells(), "well" if row.is_well() else "FAIL"] for row in rows)])
    return WELL if all(row.is_well() for row in rows) else FAILED


def run_in_guests(prove, usual_count):
    """Runs `prove(count)` where a guest can run, with the count of the command line."""
    try:
        machine.prepare()
    except machine.Impossible as reason:
        print(f"Skipped: no guest here, {reason}.")
        return SKIPPED
    counts = [int(word) for word in sys.argv[1:] if word]
    return prove(counts[0] if counts else usual_count)
