"""The review tools: screenshots for translators, the draft-mode dialog, the overlay."""

import ctypes
import json
import logging
import threading
from typing import Any, Callable, Optional, Sequence, Union

from . import _array, _bytes, _lib

__all__ = ["capture_screenshot", "set_screenshot_interface", "set_screenshot_menu_visible", "show_draft_mode_dialog"]

_log = logging.getLogger("tolvana")

_DoneCallback = ctypes.CFUNCTYPE(None, ctypes.c_int, ctypes.c_void_p)
_Provider = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_void_p)

_lib.tolvana_capture_screenshot.argtypes = [ctypes.c_char_p, ctypes.POINTER(ctypes.c_char_p), ctypes.c_size_t,
                                            ctypes.c_int, _DoneCallback, ctypes.c_void_p]
_lib.tolvana_capture_screenshot.restype = None
_lib.tolvana_set_screenshot_menu_visible.argtypes = [ctypes.c_int]
_lib.tolvana_positions_reply_send.argtypes = [ctypes.c_void_p, ctypes.c_char_p]
_lib.tolvana_positions_reply_send.restype = None
_lib.tolvana_set_screenshot_interface.argtypes = [_Provider, ctypes.c_void_p]
_lib.tolvana_set_screenshot_interface.restype = None

# Callbacks wait here under a token, which travels as the C user-data pointer, as the update
# callbacks of the package do.
_pending_lock = threading.Lock()
_pending = {}
_next_token = 0

# The positions of a host that draws its own texts: a JSON text, or what json.dumps takes.
Positions = Union[str, Any]
_provider: Optional[Callable[[], Positions]] = None


@_DoneCallback
def _on_done(success: int, token: Optional[int]) -> None:
    with _pending_lock:
        callback = _pending.pop(token or 0, None)
    if callback is not None:
        callback(success == 1)


@_Provider
def _provide(reply: int, _user_data: Optional[int]) -> None:
    # The reply is owed whatever the provider does, or the screenshot would wait for ever.
    positions = ""
    try:
        answer = _provider() if _provider else ""
        positions = answer if isinstance(answer, str) else json.dumps(answer)
    except Exception:
        _log.exception("the screenshot provider failed")
    _lib.tolvana_positions_reply_send(reply, positions.encode("utf-8"))


def capture_screenshot(tag: str, keys: Sequence[str] = (), use_ocr: bool = False,
                       callback: Optional[Callable[[bool], None]] = None) -> None:
    """Captures the app's window in draft mode and uploads it under the screen tag.

    The positions of the strings on it and of the listed keys go with it. The callback gets
    True when the server has the screenshot; it runs exactly once, on the library's main
    queue, after this call has returned (with False outside draft mode).
    """
    global _next_token
    with _pending_lock:
        _next_token += 1
        token = _next_token
        _pending[token] = callback
    try:
        _lib.tolvana_capture_screenshot(_bytes(tag), _array(list(keys)), len(keys), 1 if use_ocr else 0, _on_done,
                                        token)
    except BaseException:
        with _pending_lock:
            _pending.pop(token, None)
        raise


def show_draft_mode_dialog() -> None:
    """Asks for the draft-mode key, as the long two-finger press does (from the main queue)."""
    _lib.tolvana_show_draft_mode_dialog()


def set_screenshot_menu_visible(visible: bool) -> bool:
    """Shows or hides the review tools' overlay; False outside draft mode and during UI tests."""
    return _lib.tolvana_set_screenshot_menu_visible(1 if visible else 0) == 1


def set_screenshot_interface(provider: Callable[[], Positions]) -> None:
    """Sets the provider of string positions for screenshots, for a host that draws its own texts.

    The provider is called on the library's main queue when a screenshot is captured and
    returns the positions: {"TLStringPositions": [{"key", "value", "x", "y", "width",
    "height"}, ...]} as a JSON text or as what json.dumps takes. It is kept until another
    is set or the engine is reset.
    """
    global _provider
    if not callable(provider):
        raise TypeError("tolvana: the screenshot provider must be callable")
    _provider = provider
    _lib.tolvana_set_screenshot_interface(_provide, None)
