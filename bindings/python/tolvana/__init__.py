"""Tolvana for Python: the localisation library's C interface through ctypes.

Every function may be called from any thread. Update callbacks run exactly once, on the
library's main queue (a thread of its own when no toolkit drives one), after the call that
asked has returned; an update that cannot end as usual calls back with False. Look-ups never
fail: they fall back to the bundle's own tables, the default text and finally the key.
"""

import ctypes
import os
import threading
from typing import Callable, Dict, List, Optional, Sequence

__all__ = [
    "available_languages", "device_language", "draft_mode_enabled", "in_draft_mode", "localized_string",
    "plural_rule_for_quantity", "sdk_version", "set_draft_mode_enabled", "set_language",
    "set_show_id_mode_enabled", "show_id_mode_enabled", "update", "update_and_wait",
]

# The binding speaks the ABI of this major version, so it asks the loader for its SONAME.
_SONAME = "libtolvana.so.2"

_UpdateCallback = ctypes.CFUNCTYPE(None, ctypes.c_int, ctypes.c_void_p)
_StringArray = ctypes.POINTER(ctypes.c_char_p)


def _load() -> ctypes.CDLL:
    library = ctypes.CDLL(os.environ.get("TOLVANA_LIBRARY") or _SONAME)
    # Returned strings are caller-owned: kept as raw pointers so they can be freed.
    for name in ("tolvana_localized_string", "tolvana_localized_string_with_default",
                 "tolvana_localized_string_with_arguments", "tolvana_localized_string_with_plural_rule",
                 "tolvana_device_language", "tolvana_available_languages", "tolvana_sdk_version"):
        getattr(library, name).restype = ctypes.c_void_p
    library.tolvana_string_free.argtypes = [ctypes.c_void_p]
    library.tolvana_string_free.restype = None
    library.tolvana_localized_string_with_plural_rule.argtypes = [
        ctypes.c_char_p, ctypes.c_char_p, _StringArray, _StringArray, ctypes.c_size_t, ctypes.c_int64]
    library.tolvana_localized_string_with_arguments.argtypes = [
        ctypes.c_char_p, ctypes.c_char_p, _StringArray, _StringArray, ctypes.c_size_t]
    library.tolvana_plural_rule_for_quantity.argtypes = [ctypes.c_uint64]
    library.tolvana_plural_rule_for_quantity.restype = ctypes.c_int64
    library.tolvana_set_language.argtypes = [ctypes.c_char_p]
    library.tolvana_update_groups.argtypes = [
        _StringArray, ctypes.c_size_t, _StringArray, ctypes.c_size_t, _UpdateCallback, ctypes.c_void_p]
    library.tolvana_update_groups.restype = None
    return library


_lib = _load()

# Update callbacks wait here under a token, which travels as the C user-data pointer; the
# library calls back exactly once for each, which takes the token out again. One native
# trampoline serves them all and lives as long as the module, so the library never calls
# into a freed one.
_pending_lock = threading.Lock()
_pending: Dict[int, Optional[Callable[[bool], None]]] = {}
_next_token = 0


@_UpdateCallback
def _on_update(success: int, token: Optional[int]) -> None:
    with _pending_lock:
        callback = _pending.pop(token or 0, None)
    if callback is not None:
        callback(success == 1)


def _text(pointer: Optional[int]) -> str:
    if not pointer:
        raise MemoryError("tolvana: out of memory")
    try:
        # Stores are files another program may have written: a look-up must not fail on bytes
        # that are no UTF-8.
        return ctypes.string_at(pointer).decode("utf-8", errors="replace")
    finally:
        _lib.tolvana_string_free(pointer)


def _bytes(text: Optional[str]) -> Optional[bytes]:
    return None if text is None else text.encode("utf-8")


def _array(items: Sequence[str]):
    return (ctypes.c_char_p * len(items))(*[item.encode("utf-8") for item in items])


def sdk_version() -> str:
    """The library's version, "2.0.149"."""
    return _text(_lib.tolvana_sdk_version())


def localized_string(key: str, default: Optional[str] = None, arguments: Optional[Dict[str, str]] = None,
                     plural_rule: Optional[int] = None) -> str:
    """The text for the key in the current language, with placeholders (%{name}) replaced.

    The default is shown (and reported as missing) when the stores lack the key; with a
    plural rule (0 zero … 5 other) the key's plural form ("key[one]") is looked up.
    """
    if plural_rule is None and not arguments:
        return _text(_lib.tolvana_localized_string_with_default(_bytes(key), _bytes(default)))
    names = list((arguments or {}).keys())
    values = [str(arguments[name]) for name in names]
    if plural_rule is None:
        return _text(_lib.tolvana_localized_string_with_arguments(
            _bytes(key), _bytes(default), _array(names), _array(values), len(names)))
    return _text(_lib.tolvana_localized_string_with_plural_rule(
        _bytes(key), _bytes(default), _array(names), _array(values), len(names), plural_rule))


def plural_rule_for_quantity(quantity: int) -> int:
    """The plural rule of a quantity in the current device language (0 zero … 5 other)."""
    return _lib.tolvana_plural_rule_for_quantity(quantity)


def set_language(language: Optional[str]) -> bool:
    """Forces the app language; None returns to the device's. False when the project lacks it."""
    return _lib.tolvana_set_language(_bytes(language)) == 1


def device_language() -> str:
    """The language look-ups try first, in its long form ("de-AT")."""
    return _text(_lib.tolvana_device_language())


def available_languages() -> List[str]:
    """The languages the app has translation stores for; empty before the app is initialised."""
    text = _text(_lib.tolvana_available_languages())
    return text.split(",") if text else []


def update(callback: Optional[Callable[[bool], None]] = None, groups: Sequence[str] = (),
           languages: Sequence[str] = ()) -> None:
    """Asks the server for what is new (empty groups or languages mean the app's defaults).

    The callback gets True when the server's answer was taken; it runs exactly once, on the
    library's main queue after this call has returned, and an exception it raises is printed
    and dropped.
    """
    global _next_token
    group_array, language_array = _array(list(groups)), _array(list(languages))
    with _pending_lock:
        _next_token += 1
        token = _next_token
        _pending[token] = callback
    try:
        _lib.tolvana_update_groups(group_array, len(groups), language_array, len(languages), _on_update, token)
    except BaseException:
        # The library never saw the token, so it will not call back for it.
        with _pending_lock:
            _pending.pop(token, None)
        raise


def update_and_wait(timeout: float = 30.0, groups: Sequence[str] = (), languages: Sequence[str] = ()) -> bool:
    """Runs an update and waits for its end; False when it failed or did not end in time."""
    done = threading.Event()
    result = []

    def finished(success: bool) -> None:
        result.append(success)
        done.set()

    update(finished, groups, languages)
    return done.wait(timeout) and result[0]


def set_draft_mode_enabled(enabled: bool) -> None:
    """Allows or forbids draft mode for the app."""
    _lib.tolvana_set_draft_mode_enabled(1 if enabled else 0)


def draft_mode_enabled() -> bool:
    """Whether the app allows draft mode."""
    return _lib.tolvana_draft_mode_enabled() == 1


def in_draft_mode() -> bool:
    """Whether drafts are shown instead of published texts now."""
    return _lib.tolvana_in_draft_mode() == 1


def set_show_id_mode_enabled(enabled: bool) -> None:
    """Shows keys instead of texts until switched off or the process ends."""
    _lib.tolvana_set_show_id_mode_enabled(1 if enabled else 0)


def show_id_mode_enabled() -> bool:
    """Whether keys are shown instead of texts."""
    return _lib.tolvana_show_id_mode_enabled() == 1
