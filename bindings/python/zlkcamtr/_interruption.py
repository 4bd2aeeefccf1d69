"""Exceptions that come up while a component is running."""

import signal
import threading
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from types import FrameType
from typing import Any


class Interruption:
    """What a callback or a signal handler raised in the midst of a component's call.

    An exception can't pass through a component. So it is kept, the next result of a callback stops
    the component, and the exception is raised when the component has returned.
    """

    def __init__(self) -> None:
        self.error: BaseException | None = None
        self._keeping = False

    @contextmanager
    def around_call(self) -> Iterator[None]:
        """Goes around the call of the component, and raises at its end what was kept.

        Meanwhile the handlers of signals are wrapped. If a signal comes in while the component is
        running, Python runs its handler as soon as it enters a callback's function, before the
        first `try` there, and would print and forget what the handler raises.
        """
        handlers = self._wrap_handlers()
        self._keeping = True
        try:
            yield
        finally:
            self._keeping = False
            for number, (wrapped, handler) in handlers.items():
                if signal.getsignal(number) is wrapped:
                    signal.signal(number, handler)
            self._raise()

    def ask(self, callback: Callable[[int], Any], percent: int) -> bool:
        """Calls a callback. False, which stops the component, for False or an exception."""
        if self.error:
            return False
        try:
            # While the application's code runs, what a signal handler raises isn't kept.
            self._keeping = False
            return callback(percent) is not False
        except BaseException as error:
            self.error = error
            return False
        finally:
            self._keeping = True

    def _raise(self) -> None:
        if self.error:
            try:
                raise self.error
            finally:
                # The error's traceback holds this object, which would hold the error in turn.
                self.error = None

    def _wrap_handlers(self) -> dict[int, tuple[Any, Any]]:
        """The handlers of this thread's signals, wrapped and as they were."""
        handlers: dict[int, tuple[Any, Any]] = {}
        # Python runs signal handlers on its main thread, and lets no other thread set them.
        if threading.current_thread() is threading.main_thread():
            for number in signal.valid_signals():
                handler = signal.getsignal(number)
                if callable(handler):
                    handlers[number] = self._wrapped(handler), handler
                    signal.signal(number, handlers[number][0])
        return handlers

    def _wrapped(self, handler: Callable[[int, FrameType | None], Any]) -> Any:
        def run(number: int, frame: FrameType | None) -> None:
            # Nothing is kept while the application's code runs, nor once the call is over.
            if not self._keeping:
                handler(number, frame)
                return
            try:
                handler(number, frame)
            except BaseException as error:
                self.error = self.error or error

        return run
