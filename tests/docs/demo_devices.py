"""The three devices of `./dev demo`, for tests in Python."""

import contextlib
import os
import pathlib
import subprocess
import tempfile

SCRIPT = pathlib.Path(__file__).parents[1] / "support" / "demo_devices.sh"


@contextlib.contextmanager
def attached(programs):
    """Gives the folder that holds them; programs that are started meanwhile find them attached."""
    with tempfile.TemporaryDirectory(prefix="zlk-docs-") as folder:
        # The shell, and the cameras with it, ends with its standard input.
        shell = subprocess.Popen(
            ["sh", "-euc", '. "$0"; attach_demo_devices "$@" >&2; echo attached; read -r end',
             SCRIPT, programs, folder],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            if shell.stdout.readline() != "attached\n":
                raise RuntimeError("The devices couldn't be attached.")
            os.environ["ZLK_MACHINE"] = f"{folder}/machine"
            yield pathlib.Path(folder)
        finally:
            shell.communicate()
