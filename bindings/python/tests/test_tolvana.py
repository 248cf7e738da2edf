# The binding against the demo app (run under tests/with-demo-app, German device): what the
# ctypes layer converts (texts, argument dictionaries, lists, booleans, callbacks).
import glob
import json
import os
import sqlite3
import time
import urllib.request

import pytest

import tolvana


@pytest.mark.parametrize("call, expected", [
    (lambda: tolvana.localized_string("welcome.title"), "Willkommen"),
    (lambda: tolvana.localized_string("no.such.key"), "no.such.key"),
    (lambda: tolvana.localized_string("no.such.key", default="Grüße"), "Grüße"),
    (lambda: tolvana.localized_string("x", default="%{a} und %{b}", arguments={"a": "Ä", "b": "ß"}), "Ä und ß"),
    (lambda: tolvana.localized_string("cart.items", arguments={"count": "4"},
                                      plural_rule=tolvana.plural_rule_for_quantity(4)), "4 Artikel im Warenkorb"),
])
def test_lookups_from_the_shipped_archive(call, expected):
    assert call() == expected


def test_version_languages_and_modes():
    assert tolvana.sdk_version() == "2.0.149"
    assert tolvana.available_languages() == ["de", "en", "fr"]
    assert tolvana.device_language().startswith("de")
    assert tolvana.set_language("fr") and tolvana.device_language() == "fr"
    assert not tolvana.set_language("xx")
    tolvana.set_language(None)
    tolvana.set_show_id_mode_enabled(True)
    assert tolvana.show_id_mode_enabled() and tolvana.localized_string("welcome.title") == "welcome.title"
    tolvana.set_show_id_mode_enabled(False)
    tolvana.set_draft_mode_enabled(False)
    assert not tolvana.draft_mode_enabled() and not tolvana.in_draft_mode()
    tolvana.set_draft_mode_enabled(True)


def test_update_brings_the_servers_texts():
    assert os.environ.get("TOLVANA_DEMO_SERVER"), "run under tests/with-demo-app"
    assert tolvana.update_and_wait(timeout=30, groups=["main", "onboarding"], languages=["de"])
    assert tolvana.localized_string("onboarding.step1") == "Lege dein Profil an"
    assert tolvana.update_and_wait(timeout=30)
    assert tolvana._pending == {}


def test_an_answer_that_is_no_json_still_calls_back_once():
    server = os.environ.get("TOLVANA_DEMO_SERVER")
    assert server, "run under tests/with-demo-app"
    fault = json.dumps({"status": 200, "body": "OK"}).encode()
    headers = {"Authorization": "Bearer " + os.environ["TOLVANA_DEMO_ADMIN_TOKEN"], "Content-Type": "application/json"}
    urllib.request.urlopen(urllib.request.Request(server + "/_test/faults", data=fault, headers=headers, method="POST"))
    assert not tolvana.update_and_wait(timeout=30)
    assert tolvana._pending == {}


def test_a_store_value_that_is_no_utf8_reads_with_replacement_characters():
    tolvana.localized_string("welcome.title")  # the store exists once the engine has started
    stores = glob.glob(os.path.join(os.environ["XDG_DATA_HOME"], "Tolvana", "*", "*", "de.sqlite"))
    assert len(stores) == 1
    with sqlite3.connect(stores[0]) as connection:
        connection.execute("INSERT OR REPLACE INTO entries VALUES ('hostile.bytes', CAST(X'48E46C6C6FFF' AS TEXT), NULL)")
    deadline = time.monotonic() + 10
    text = tolvana.localized_string("hostile.bytes")
    while text == "hostile.bytes" and time.monotonic() < deadline:  # the store is read again within a second
        time.sleep(0.2)
        text = tolvana.localized_string("hostile.bytes")
    assert text == "H\ufffdllo\ufffd"
