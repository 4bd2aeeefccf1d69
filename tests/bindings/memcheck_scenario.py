"""Lists a card, copies from it, stops by an exception, and fails: what valgrind watches."""

import contextlib

import card
import zlkcamtr

card.make()
with card.camera() as camera:
    for identity in card.files(camera.GetFileInfo(lambda percent: None)).values():
        camera.SaveFileData(identity, card.COPIES / "copy", lambda percent: True)
        with contextlib.suppress(ZeroDivisionError):
            camera.SaveFileData(identity, card.COPIES / "copy", lambda percent: 1 / 0)
    with contextlib.suppress(zlkcamtr.ComError):
        camera.DeleteFileW("nowhere")
    camera.Intent = "<intent/>"
zlkcamtr.dispatch("ZlkCamTr.DeviceUtils").ContextIdToName(card.ID)
