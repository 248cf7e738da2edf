"""Setting the library up for its host: configuration by call, the main queue, the switches,
the library's log through the logging module, and the notice of changed texts."""

import atexit
import contextlib
import ctypes
import dataclasses
import logging
import os
from typing import Callable, Dict, Iterator, List, Optional, Union

from . import _call_back_once, _lib, _take

__all__ = ["Configuration", "ConfigurationError", "GroupChange", "TextsChanged", "configuration", "configure",
           "drain_main_queue", "enabled", "reset", "set_enabled", "set_texts_changed_handler", "update_with_changes"]

_log = logging.getLogger("tolvana")

# The library's six levels (verbose, debug, info, warning, error, assert) as logging's.
VERBOSE = 5
_LEVELS = [VERBOSE, logging.DEBUG, logging.INFO, logging.WARNING, logging.ERROR, logging.CRITICAL]
logging.addLevelName(VERBOSE, "VERBOSE")

_Wakeup = ctypes.CFUNCTYPE(None, ctypes.c_void_p)
_LogCallback = ctypes.CFUNCTYPE(None, ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_void_p)


class _GroupChange(ctypes.Structure):
    _fields_ = [("language", ctypes.c_char_p), ("group", ctypes.c_char_p), ("version_before", ctypes.c_int64),
                ("version_after", ctypes.c_int64), ("entries_written", ctypes.c_size_t)]


_TextsChangedCallback = ctypes.CFUNCTYPE(None, ctypes.c_int, ctypes.POINTER(ctypes.c_char_p), ctypes.c_size_t,
                                         ctypes.POINTER(_GroupChange), ctypes.c_size_t, ctypes.c_void_p)
_UpdateChangesCallback = ctypes.CFUNCTYPE(None, ctypes.c_int, ctypes.POINTER(_GroupChange), ctypes.c_size_t,
                                          ctypes.c_void_p)


class _Options(ctypes.Structure):
    _fields_ = [("size", ctypes.c_size_t), ("bundle_path", ctypes.c_char_p), ("data_directory", ctypes.c_char_p),
                ("defaults_file", ctypes.c_char_p), ("log_level", ctypes.c_int),
                ("host_drives_main_queue", ctypes.c_int), ("main_queue_wakeup", _Wakeup),
                ("main_queue_wakeup_data", ctypes.c_void_p)]


_lib.tolvana_options_init.argtypes = [ctypes.POINTER(_Options)]
_lib.tolvana_options_init.restype = None
_lib.tolvana_configure.argtypes = [ctypes.POINTER(_Options)]
_lib.tolvana_main_queue_drain.restype = ctypes.c_int64
_lib.tolvana_set_enabled.argtypes = [ctypes.c_int]
_lib.tolvana_set_log_callback.argtypes = [_LogCallback, ctypes.c_void_p]
_lib.tolvana_set_log_callback.restype = None
_lib.tolvana_set_texts_changed_callback.argtypes = [_TextsChangedCallback, ctypes.c_void_p]
_lib.tolvana_set_texts_changed_callback.restype = None
_lib.tolvana_update_with_changes.argtypes = [_UpdateChangesCallback, ctypes.c_void_p]
_lib.tolvana_update_with_changes.restype = None

Path = Union[str, "os.PathLike[str]"]


class ConfigurationError(RuntimeError):
    """configure() came after the engine had started; the configuration was not applied."""


@dataclasses.dataclass
class Configuration:
    """What configure() sets; what is left None keeps its default from the environment."""

    bundle_path: Optional[Path] = None       # the app bundle; TOLVANA_MAIN_BUNDLE, else the program's folder
    data_directory: Optional[Path] = None    # stores go below it; XDG_DATA_HOME, else ~/.local/share
    defaults_file: Optional[Path] = None     # the app's user defaults (a property list)
    log_level: Optional[int] = None          # a logging level; None: the Info.plist's TolvanaLogLevel
    host_drives_main_queue: bool = False     # True: the host runs the main queue with drain_main_queue()
    main_queue_wakeup: Optional[Callable[[], None]] = None  # told, on any thread, that a task was queued


# Native callbacks the library keeps are kept here too, for as long as it may call them.
_kept_wakeup = None


def _threshold(level: int) -> int:
    """The library's threshold that lets through what a logging level lets through."""
    for threshold, logging_level in enumerate(_LEVELS):
        if level <= logging_level:
            return threshold
    return len(_LEVELS)


def _path(path: Optional[Path]) -> Optional[bytes]:
    return None if path is None else os.fsencode(path)


def configure(bundle_path: Optional[Path] = None, data_directory: Optional[Path] = None,
              defaults_file: Optional[Path] = None, log_level: Optional[int] = None,
              host_drives_main_queue: bool = False, main_queue_wakeup: Optional[Callable[[], None]] = None) -> None:
    """Says where the app and its data are, instead of environment variables.

    Only before the engine starts, that is before the first look-up, update or other call
    that needs it; afterwards it raises ConfigurationError.
    """
    global _kept_wakeup
    options = _Options()
    _lib.tolvana_options_init(ctypes.byref(options))
    options.bundle_path, options.data_directory = _path(bundle_path), _path(data_directory)
    options.defaults_file = _path(defaults_file)
    options.log_level = -1 if log_level is None else _threshold(log_level)
    options.host_drives_main_queue = 1 if host_drives_main_queue else 0
    wakeup = _Wakeup(lambda _data: main_queue_wakeup()) if main_queue_wakeup else _Wakeup()
    options.main_queue_wakeup = wakeup
    if _lib.tolvana_configure(ctypes.byref(options)) != 1:
        raise ConfigurationError("tolvana: configure() must come before the engine starts")
    _kept_wakeup = wakeup


@contextlib.contextmanager
def configuration() -> Iterator[Configuration]:
    """Collects the configuration in a block and applies it when the block ends::

        with tolvana.configuration() as config:
            config.bundle_path = "MyApp.app"
            config.log_level = logging.WARNING
    """
    collected = Configuration()
    yield collected
    configure(**dataclasses.asdict(collected))


def drain_main_queue() -> Optional[float]:
    """Runs the main-queue tasks that are due, for a host that drives the main queue.

    Returns the seconds until the next queued task falls due, or None when none is queued.
    """
    milliseconds = _lib.tolvana_main_queue_drain()
    return None if milliseconds < 0 else milliseconds / 1000.0


def set_enabled(enabled: bool) -> None:
    """Switches the engine on or off (look-ups then come from the bundle's own tables); persisted."""
    _lib.tolvana_set_enabled(1 if enabled else 0)


def enabled() -> bool:
    """Whether the engine is on."""
    return _lib.tolvana_enabled() == 1


def reset() -> None:
    """Drops the engine, erases the app's user defaults and starts again, as a fresh install would."""
    _lib.tolvana_reset()


@_LogCallback
def _on_log(level: int, tag: bytes, message: bytes, _user_data: Optional[int]) -> None:
    logging_level = _LEVELS[level] if 0 <= level < len(_LEVELS) else logging.ERROR
    _log.log(logging_level, "%s", message.decode("utf-8", "replace"), extra={"tag": tag.decode("utf-8", "replace")})


@dataclasses.dataclass(frozen=True)
class GroupChange:
    """One group an update wrote into a language's store."""

    group: str
    version_before: int  # -1 when the store did not have the group
    version_after: int
    entries_written: int


@dataclasses.dataclass(frozen=True)
class TextsChanged:
    """Shown texts may be out of date: after an update that wrote texts, or a language switch."""

    cause: str  # "update" or "language_switch"
    languages: List[str]  # written into, or after a switch the languages look-ups now try first
    changes: Dict[str, List[GroupChange]]  # per language, what an update wrote; empty after a switch


Changes = Dict[str, List[GroupChange]]


def _changes(groups, group_count: int) -> Changes:
    changes: Changes = {}
    for index in range(group_count):
        group = groups[index]
        changes.setdefault(group.language.decode("utf-8"), []).append(GroupChange(
            group.group.decode("utf-8"), group.version_before, group.version_after, group.entries_written))
    return changes


@_UpdateChangesCallback
def _on_update_with_changes(success: int, groups, group_count: int, token: Optional[int]) -> None:
    callback = _take(token)
    if callback is not None:
        callback(success == 1, _changes(groups, group_count))


def update_with_changes(callback: Optional[Callable[[bool, Changes], None]] = None) -> None:
    """update(), telling the callback also what the update wrote into the stores: per language,
    the groups that were newer (empty when nothing was, and on failure).

    The callback runs exactly once, on the library's main queue after this call has returned.
    """
    _call_back_once(callback, lambda token: _lib.tolvana_update_with_changes(_on_update_with_changes, token))


_texts_changed_handler: Optional[Callable[[TextsChanged], None]] = None


@_TextsChangedCallback
def _on_texts_changed(cause: int, languages, language_count: int, groups, group_count: int,
                      _user_data: Optional[int]) -> None:
    handler = _texts_changed_handler
    if handler is None:
        return
    notice = TextsChanged("update" if cause == 0 else "language_switch",
                          [languages[index].decode("utf-8") for index in range(language_count)],
                          _changes(groups, group_count))
    try:
        handler(notice)
    except Exception:
        _log.exception("the texts-changed handler failed")


def set_texts_changed_handler(handler: Optional[Callable[[TextsChanged], None]]) -> None:
    """Sets what is told that shown texts may be out of date; None removes it.

    It runs on the library's main queue: after an update that wrote newer texts into the
    stores (before the update's own callback) and after set_language() switched languages.
    """
    global _texts_changed_handler
    _texts_changed_handler = handler
    if handler is None:
        _lib.tolvana_set_texts_changed_callback(_TextsChangedCallback(), None)
    else:
        _lib.tolvana_set_texts_changed_callback(_on_texts_changed, None)


def _stop_calling_python() -> None:
    """The library's threads outlive the interpreter; they must not call into it while it ends.
    Each call returns once no callback of the kind is running (ctypes lets go of the GIL)."""
    _lib.tolvana_set_log_callback(_LogCallback(), None)
    _lib.tolvana_set_texts_changed_callback(_TextsChangedCallback(), None)


# The library's log goes to the logging module: the "tolvana" logger, the line's tag as "tag".
_lib.tolvana_set_log_callback(_on_log, None)
atexit.register(_stop_calling_python)
