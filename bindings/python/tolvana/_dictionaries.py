"""The bulk look-ups: whole tables and many keys at once, as dicts."""

import ctypes
from typing import Dict, Mapping, Optional

from . import _array, _bytes, _lib

__all__ = ["localize_map", "localized_strings_for_current_language", "localized_strings_for_language"]

_Dictionary = ctypes.c_void_p

for _name in ("tolvana_localized_strings_for_language", "tolvana_localized_strings_for_current_language",
              "tolvana_localize_map"):
    getattr(_lib, _name).restype = _Dictionary
_lib.tolvana_localized_strings_for_language.argtypes = [ctypes.c_char_p]
_lib.tolvana_localize_map.argtypes = [ctypes.POINTER(ctypes.c_char_p)] * 3 + [ctypes.c_size_t]
_lib.tolvana_dictionary_count.argtypes = [_Dictionary]
_lib.tolvana_dictionary_count.restype = ctypes.c_size_t
for _name in ("tolvana_dictionary_key_at", "tolvana_dictionary_value_at"):
    getattr(_lib, _name).argtypes = [_Dictionary, ctypes.c_size_t]
    getattr(_lib, _name).restype = ctypes.c_char_p
_lib.tolvana_dictionary_dictionary_at.argtypes = [_Dictionary, ctypes.c_size_t]
_lib.tolvana_dictionary_dictionary_at.restype = _Dictionary
_lib.tolvana_dictionary_free.argtypes = [_Dictionary]
_lib.tolvana_dictionary_free.restype = None


def _read(dictionary: Optional[int]) -> dict:
    """The dictionary's entries, each string decoded once where it lies; inner dictionaries as dicts.
    Bytes that are no UTF-8 (a store is a file other programs can write) become U+FFFD."""
    entries = {}
    for index in range(_lib.tolvana_dictionary_count(dictionary)):
        key = _lib.tolvana_dictionary_key_at(dictionary, index).decode("utf-8", "replace")
        value = _lib.tolvana_dictionary_value_at(dictionary, index)
        entries[key] = value.decode("utf-8", "replace") if value is not None else _read(
            _lib.tolvana_dictionary_dictionary_at(dictionary, index))
    return entries


def _taken(dictionary: Optional[int]) -> dict:
    if not dictionary:
        raise MemoryError("tolvana: out of memory")
    try:
        return _read(dictionary)
    finally:
        _lib.tolvana_dictionary_free(dictionary)


def localized_strings_for_language(language: str) -> Dict[str, str]:
    """Every key of the language's store with its text (the draft where draft mode shows drafts)."""
    return _taken(_lib.tolvana_localized_strings_for_language(_bytes(language)))


def localized_strings_for_current_language() -> Dict[str, str]:
    """The tables of the base, the short and the long device language merged; the long one wins."""
    return _taken(_lib.tolvana_localized_strings_for_current_language())


def localize_map(request: Mapping[str, Mapping[str, Optional[str]]]) -> Dict[str, Dict[str, str]]:
    """Texts for many keys in given languages, without fall-backs to other languages.

    request maps a language to its keys with their default texts (None for none); the answer
    maps each language asked for to the texts found, a key's default where the language lacks
    it, and leaves out keys with neither.
    """
    rows = [(language, key, default) for language, keys in request.items() for key, default in keys.items()]
    languages = _array([row[0] for row in rows])
    keys = _array([row[1] for row in rows])
    defaults = (ctypes.c_char_p * len(rows))(*[_bytes(row[2]) for row in rows])
    answer = _taken(_lib.tolvana_localize_map(languages, keys, defaults, len(rows)))
    for language in request:
        answer.setdefault(language, {})
    return answer
