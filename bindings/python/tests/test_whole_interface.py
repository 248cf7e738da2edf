# The rest of the binding against the demo app (run under tests/with-demo-app, after
# test_tolvana.py, so the stores already hold the server's texts): bulk look-ups, switches,
# review tools, the log through the logging module, the texts-changed notice, and
# configuration by call in a fresh process.
import json
import logging
import os
import subprocess
import sys
import textwrap
import threading
import urllib.request

import pytest

import tolvana


def _admin(method, path, body):
    headers = {"Authorization": "Bearer " + os.environ["TOLVANA_DEMO_ADMIN_TOKEN"], "Content-Type": "application/json"}
    request = urllib.request.Request(os.environ["TOLVANA_DEMO_SERVER"] + "/admin/v1/projects/demo-app" + path,
                                     data=json.dumps(body).encode(), headers=headers, method=method)
    urllib.request.urlopen(request).read()


def _update_with_changes_and_wait():
    reports = []
    done = threading.Event()
    tolvana.update_with_changes(lambda ok, changes: (reports.append((ok, changes)), done.set()))
    assert done.wait(30)
    return reports


def test_bulk_look_ups_are_dicts():
    assert tolvana.localized_strings_for_language("de")["welcome.title"] == "Willkommen in der Beispiel-App"
    assert tolvana.localized_strings_for_language("xx") == {}
    assert tolvana.localized_strings_for_current_language()["onboarding.step1"] == "Lege dein Profil an"
    assert tolvana.localize_map({"fr": {"welcome.title": None}, "de": {"no.such.key": "Vorgabe", "nor.this": None},
                                 "en": {}}) == {"fr": {"welcome.title": "Bienvenue"},
                                                "de": {"no.such.key": "Vorgabe"}, "en": {}}


def test_the_log_goes_to_the_logging_module(caplog):
    with caplog.at_level(logging.DEBUG, logger="tolvana"):
        assert tolvana.localized_string(None) == ""
    record = caplog.records[-1]
    assert (record.name, record.levelno, record.tag) == ("tolvana", logging.ERROR, "Tolvana")
    assert record.getMessage() == "tolvana_localized_string_with_default: the key is NULL"


def test_texts_changed_after_a_switch_and_an_update():
    notices = []
    arrived = threading.Event()

    def changed(notice):
        notices.append(notice)
        arrived.set()

    tolvana.set_texts_changed_handler(changed)
    try:
        assert tolvana.set_language("fr")
        assert arrived.wait(10)
        assert notices[-1] == tolvana.TextsChanged("language_switch", ["fr"], {})
        arrived.clear()
        tolvana.set_language(None)
        assert arrived.wait(10)

        _admin("PUT", "/entries", {"entries": [{"language": "de", "group": "main", "key": "welcome.title",
                                                 "draft": "Neu hier"}]})
        _admin("POST", "/publish", {"language": "de", "group": "main"})
        reports = _update_with_changes_and_wait()
        notice = notices[-1]
        assert notice.cause == "update" and "de" in notice.languages
        [main] = notice.changes["de"]
        assert (main.group, main.version_before, main.entries_written) == ("main", 2, 4)
        assert main.version_after > 2
        assert reports == [(True, notice.changes)]
        assert tolvana.localized_string("welcome.title") == "Neu hier"
    finally:
        tolvana.set_texts_changed_handler(None)


def test_switches_and_review_tools():
    tolvana.set_enabled(False)
    assert not tolvana.enabled()
    assert not tolvana.update_and_wait(timeout=30)
    assert _update_with_changes_and_wait() == [(False, {})]
    tolvana.set_enabled(True)
    assert tolvana.enabled()

    tolvana.set_screenshot_interface(lambda: {"TLStringPositions": []})
    with pytest.raises(TypeError):
        tolvana.set_screenshot_interface(None)
    done = threading.Event()
    results = []
    tolvana.capture_screenshot("Home", ["welcome.title"], use_ocr=True,
                               callback=lambda ok: (results.append(ok), done.set()))
    assert done.wait(10) and results == [False]  # outside draft mode
    tolvana.show_draft_mode_dialog()
    assert not tolvana.set_screenshot_menu_visible(True)

    tolvana.reset()
    assert tolvana.enabled() and tolvana.localized_string("welcome.title") == "Neu hier"
    with pytest.raises(tolvana.ConfigurationError):
        tolvana.configure(log_level=logging.ERROR)


# In a process of its own, since configuration comes before the engine starts: the bundle and
# the data by call with the environment's variables gone, and the host's own loop as the main
# queue.
_FRESH_PROCESS = textwrap.dedent("""
    import json, logging, os, sys, threading, time
    bundle = os.environ.pop("TOLVANA_MAIN_BUNDLE")
    for name in ("XDG_DATA_HOME", "XDG_CONFIG_HOME"):
        del os.environ[name]
    import tolvana
    wakeups = []
    with tolvana.configuration() as config:
        config.bundle_path = bundle
        config.data_directory = sys.argv[1]
        config.defaults_file = os.path.join(sys.argv[1], "defaults.plist")
        config.log_level = logging.ERROR
        config.host_drives_main_queue = True
        config.main_queue_wakeup = lambda: wakeups.append(1)
    shipped = tolvana.localized_string("welcome.title")
    called = []
    tolvana.update(lambda ok: called.append((ok, threading.get_ident())))
    queued_only = called == []
    deadline = time.time() + 30
    while not called and time.time() < deadline:
        tolvana.drain_main_queue()
        time.sleep(0.02)
    print(json.dumps({"shipped": shipped, "queued_only": queued_only, "called": called,
                      "main": threading.get_ident(), "woken": bool(wakeups),
                      "updated": tolvana.localized_string("welcome.title"),
                      "idle": tolvana.drain_main_queue()}))
""")


def test_configuration_by_call_in_a_fresh_process(tmp_path):
    run = subprocess.run([sys.executable, "-c", _FRESH_PROCESS, str(tmp_path)], capture_output=True, text=True,
                         timeout=60, env=dict(os.environ))
    assert run.returncode == 0, run.stderr
    outcome = json.loads(run.stdout)
    assert outcome["shipped"] == "Willkommen"
    assert outcome["queued_only"] and outcome["woken"]
    assert outcome["called"] == [[True, outcome["main"]]]
    assert outcome["updated"] not in ("Willkommen", "welcome.title")
    assert outcome["idle"] is None
    assert os.path.isfile(tmp_path / "defaults.plist")


@pytest.mark.skipif(not os.environ.get("TOLVANA_FROM_WHEEL"), reason="only when the wheel is installed")
def test_the_installed_wheel_is_what_runs():
    package = os.path.dirname(tolvana.__file__)
    assert package.startswith(sys.prefix)
    assert os.path.isfile(os.path.join(package, "py.typed"))
