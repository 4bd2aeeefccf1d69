"""Inside the guest: what takes long. Pulls and kills at random moments, and a camera that hangs."""

import os
import random
import signal
import subprocess
import time

from client import (BIN, PULLED, Unload, contents, files_below, hosts, new_folder,
                    require_no_torso, require_recovery, require_whole, zlkcam)
from responders import wait_until

PULLS, CLIENT_KILLS, HOST_KILLS = 10, 20, 10
END_SECONDS = 25  # for whatever is asked of a camera that answers nothing
UNLOAD_SECONDS = 2  # in which the random moments lie


def unload_until(camera, moment):
    """An unload that has run for `moment` seconds, or has just ended; and its folder."""
    into = new_folder()
    running = Unload(into)
    end = time.monotonic() + moment
    wait_until(lambda: running.ended() or time.monotonic() > end, moment + 1, "moment")
    return running, into


def times(count, attempt):
    """Does it with one random moment after the other, and says all that went wrong."""
    moments = random.Random(1)
    failures, worst = [], 0
    for number in range(count):
        moment = moments.uniform(0, UNLOAD_SECONDS)
        try:
            worst = max(worst, attempt(moment) or 0)
        except AssertionError as error:
            failures.append(f"{number + 1} (at {moment:.2f} s): {error}")
    assert not failures, f"{len(failures)} of {count}: " + "; ".join(failures)
    return f"{worst:.1f} s"


def pulls(camera):
    def pull(moment):
        running, into = unload_until(camera, moment)
        camera.unplug()
        camera.wait_for(plugged=False)
        pulled = time.monotonic()
        try:
            status, said = running.finish(END_SECONDS)
            seconds = time.monotonic() - pulled
            require_no_torso(camera, into)
            whole = contents(into) == contents(camera.pictures)
        finally:
            camera.plug()
        require_recovery(camera, into)
        assert status == PULLED or whole, f"status {status}: {said}"
        assert seconds <= 1, f"the error came after {seconds:.1f} s"
        return seconds
    return times(PULLS, pull)


def client_kills(camera):
    def kill(moment):
        running, into = unload_until(camera, moment)
        running.process.kill()
        running.finish(5)
        require_whole(contents(camera.pictures), contents(into))
        return require_recovery(camera, into)
    return times(CLIENT_KILLS, kill)


def host_kills(camera):
    def kill(_):
        into = new_folder()
        running = Unload(into)
        running.reach_data_phase(camera)
        for host in hosts():
            os.kill(host, signal.SIGKILL)
        running.finish(END_SECONDS)
        require_no_torso(camera, into)
        return require_recovery(camera, into)
    return times(HOST_KILLS, kill)


def gphoto2_afterwards(camera):
    """It needs no more than our host to have gone."""
    if not camera.lists_for_all_peers:
        return "-"
    wait_until(lambda: not hosts(), 10, "end of the host")
    done = subprocess.run(["gphoto2", "--list-files"], capture_output=True, text=True, timeout=60,
                          check=False)
    assert done.returncode == 0, done.stderr[-300:]
    missing = [path.name for path in files_below(camera.pictures)
               if path.name.isascii() and path.name not in done.stdout]
    assert not missing, f"not listed: {missing}"
    return "ok"


def silence(camera):
    """Each command says within its time what is the matter, and the next begins anew."""
    if not hasattr(camera, "freeze"):
        return "-"
    failures, longest = [], 0
    for words in (["info"], ["list"], ["unload", new_folder()], ["thumbs", new_folder()],
                  ["delete", "1"], ["clock"], ["diag"]):
        camera.freeze()
        start = time.monotonic()
        try:
            done = subprocess.run([BIN / "zlkcam", *words], capture_output=True, text=True,
                                  timeout=2 * END_SECONDS, check=False)
            if not (done.stdout + done.stderr).strip():
                failures.append(f"{words[0]} says nothing")
        except subprocess.TimeoutExpired:
            failures.append(f"{words[0]} came to no end")
        seconds = time.monotonic() - start
        if seconds > END_SECONDS:
            failures.append(f"{words[0]} took {seconds:.0f} s")
        longest = max(longest, seconds)
        camera.replug()
        try:
            zlkcam("list")
        except AssertionError as error:
            failures.append(f"after {words[0]}: {error}")
    assert not failures, "; ".join(failures)
    return f"{longest:.0f} s"


CELLS = {"pulls": pulls, "client kills": client_kills, "host kills": host_kills,
         "gphoto2 then": gphoto2_afterwards, "silence": silence}
