#!/usr/bin/env python3
"""The web console in headless Chromium against the demo project on a real tolvana-server
(run under tests/with-demo-app), with accounts made by its add-user command: a viewer signs in
and is offered no change, and a change without the session's CSRF token is refused; an admin
signs in, edits a string and publishes, and the tool's update brings the text; another's edit
shows on the open page; a missing string reported by an app is accepted; an uploaded
screenshot shows a box on its string that leads to the key; the admin adds a translator; a .po file picked for import shows its
changes first, then its strings are drafts.

Usage: tests/with-demo-app TOLVANA console_browser_test.py TOLVANA TOLVANA_SERVER [--pictures DIR]"""
import hashlib
import hmac
import json
import os
import subprocess
import sys
import tempfile
import time
import urllib.request
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tests", "support"))
from headless_browser import Browser, find_chromium  # noqa: E402

SERVER = os.environ["TOLVANA_DEMO_SERVER"]
SECRET = "demo-secret-0123456789"
NEW_TEXT = "Schön, dass du da bist"
TOKEN = os.environ["TOLVANA_DEMO_ADMIN_TOKEN"]


def signed_post(path, text, body, content_type):
    stamp = str(int(time.time()))
    signature = hmac.new(SECRET.encode(), (stamp + text + stamp).encode(), hashlib.sha256).hexdigest()
    request = urllib.request.Request(SERVER + path, data=body, method="POST", headers={
        "Content-Type": content_type, "timestamp": stamp, "hmac": signature})
    with urllib.request.urlopen(request) as answer:
        return json.load(answer)


def png(width, height):
    def chunk(kind, data):
        return len(data).to_bytes(4, "big") + kind + data + zlib.crc32(kind + data).to_bytes(4, "big")
    rows = b"".join(b"\0" + bytes([235, 240, 246]) * width for _ in range(height))
    header = width.to_bytes(4, "big") + height.to_bytes(4, "big") + bytes([8, 2, 0, 0, 0])
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def what_apps_send():
    """A missing string (and one whose key is markup) and a 400x300 screenshot with two strings."""
    update = json.dumps({"requestedData": {}, "bundleVersion": "2.4.1", "missingEntries": {
        "en": {"checkout.pay": "Pay now", "<script>alert(1)</script>": "x"}}})
    signed_post("/v4/mobile-apps/sdk/demo-app", update, update.encode(), "application/json")
    strings = json.dumps({"screenTag": "checkout", "deviceModel": "x86_64", "platform": "linux",
                          "operatingSystem": "Linux 6", "deviceLanguageLong": "de", "useOCR": "false",
                          "width": 400, "height": 300, "stringPositions": [
                              {"key": "welcome.title", "text": "Willkommen", "x": 40, "y": 30, "width": 200, "height": 40},
                              {"text": "Loose text", "x": 40, "y": 200, "width": 120, "height": 30}]})
    boundary = f"***{int(time.time())}***"
    image = png(400, 300)
    body = (f"--{boundary}\r\nContent-Disposition: form-data; name=\"file\"; filename=\"screenshot.png\"\r\n"
            f"Content-Type: image/png\r\nContent-Length: {len(image)}\r\n\r\n").encode() + image + \
        (f"\r\n--{boundary}\r\nContent-Disposition: form-data; name=\"stringBody\"\r\n\r\n{strings}"
         f"\r\n--{boundary}--\r\n").encode()
    signed_post("/v3/mobile-apps/sdk/demo-app/uploadScreenshot", strings, body,
                f"multipart/form-data; boundary={boundary}")


def check(condition, message):
    if not condition:
        raise AssertionError(message)


def tool(*arguments):
    return subprocess.run([TOLVANA, *arguments], check=True, capture_output=True, text=True).stdout.strip()


def add_user(server, name, role):
    subprocess.run([server, "--data", os.environ["TOLVANA_DEMO_DATA"], "add-user", name, "--role", role],
                   input=f"{name}-password\n", check=True, capture_output=True, text=True)


def sign_in(browser, name, password=None):
    browser.open(SERVER + "/console/sign-in")
    browser.evaluate(f"document.getElementById('name').value = {json.dumps(name)};"
                     f"document.getElementById('password').value = {json.dumps(password or name + '-password')};"
                     "document.getElementById('sign-in').requestSubmit()")


def viewer_is_offered_no_change(browser):
    sign_in(browser, "vic", "wrong password")
    browser.wait_for("document.getElementById('sign-in-error').textContent.includes('wrong')", what="a wrong password refused")
    sign_in(browser, "vic")
    browser.wait_for("document.querySelectorAll('#strings-table tbody tr').length > 0", what="the viewer's strings table")
    offered = browser.evaluate("""({who: document.getElementById('who').textContent,
        publish: !document.getElementById('publish').hidden,
        editable: [...document.querySelectorAll('#strings-table textarea')].some(t => !t.readOnly)})""")
    check(offered == {"who": "vic (viewer)", "publish": False, "editable": False}, f"a viewer is offered {offered}")
    browser.evaluate("document.getElementById('sign-out').click()")
    browser.wait_for("location.pathname === '/console/sign-in'", what="the sign-in page after signing out")


def change_without_csrf_token_refused(browser):
    answer = browser.evaluate("""fetch('/admin/v1/projects/demo-app/entries', {method: 'PUT', credentials: 'same-origin',
        headers: {'Content-Type': 'application/json'},
        body: JSON.stringify({entries: [{language: 'de', group: 'main', key: 'welcome.title', draft: 'forged'}]})})
        .then(r => r.json().then(b => [r.status, b.error]))""")
    check(answer[0] == 403 and "CSRF" in answer[1], f"a change without the CSRF token got {answer}")


def edit_and_publish(browser, pictures):
    check(browser.evaluate("document.getElementById('language').value") == "de", "German is not chosen first")
    browser.evaluate(f"""(() => {{
        const editor = document.querySelector('textarea[data-key="welcome.title"]');
        editor.value = {json.dumps(NEW_TEXT)};
        editor.dispatchEvent(new Event('change'));
    }})()""")
    browser.wait_for("document.getElementById('strings-status').textContent.includes('Saved the draft of welcome.title')")
    browser.evaluate("document.getElementById('filter').value = 'changed';"
                     "document.getElementById('filter').dispatchEvent(new Event('change'))")
    changed = browser.evaluate("[...document.querySelectorAll('#strings-table tbody tr')].map(r => r.dataset.key)")
    check(changed == ["welcome.title"], f"'changed since publish' shows {changed}")
    if pictures:
        browser.picture(os.path.join(pictures, "console-strings.png"))
    check(tool("lookup", "welcome.title", "--language", "de") != NEW_TEXT, "a draft reached the app unpublished")
    browser.evaluate("document.getElementById('publish').click()")
    browser.wait_for("document.getElementById('strings-status').textContent.startsWith('Published main in de')")
    tool("update", "--languages", "de")
    text = tool("lookup", "welcome.title", "--language", "de")
    check(text == NEW_TEXT, f"after publishing, the app's update brought {text!r}")
    # Another translator's edit, through the admin API, reaches the open page by itself.
    edit = json.dumps({"entries": [{"language": "de", "group": "main", "key": "welcome.greeting", "draft": "Servus!"}]})
    urllib.request.urlopen(urllib.request.Request(SERVER + "/admin/v1/projects/demo-app/entries", method="PUT",
                                                  data=edit.encode(), headers={"Authorization": f"Bearer {TOKEN}",
                                                                               "Content-Type": "application/json"}))
    browser.wait_for("document.querySelector('textarea[data-key=\"welcome.greeting\"]')?.value === 'Servus!'",
                     timeout=5, what="another's edit on the open page")


def accept_missing(browser):
    browser.evaluate("document.querySelector('[data-tab=missing]').click()")
    row = "document.querySelector('#missing-table tr[data-key=\"checkout.pay\"]')"
    browser.wait_for(row, what="the reported missing string")
    cells = browser.evaluate(f"[...{row}.cells].map(c => c.textContent)")
    check(cells[:5] == ["en", "checkout.pay", "Pay now", "1", "2.4.1"], f"the missing string's row: {cells}")
    markup = "document.querySelector('#missing-table tr[data-key=\"<script>alert(1)</script>\"]')"
    check(browser.evaluate(f"{markup}.cells[1].textContent === '<script>alert(1)</script>'"
                           "&& !document.querySelector('#missing-table script')"), "a key of markup was not shown as text")
    browser.evaluate(f"{row}.querySelector('button.accept').click()")
    browser.wait_for("document.getElementById('missing-status').textContent.startsWith('Accepted checkout.pay')")
    check(browser.evaluate(f"{row}.querySelector('button.accept') === null"), "the accepted string can be accepted again")


def screenshot_boxes(browser, pictures):
    browser.evaluate("document.querySelector('[data-tab=screenshots]').click()")
    browser.wait_for("document.querySelector('.shot[data-boxes=\"2\"]')", what="two boxes over the screenshot")
    # Where the box is against where the string was, in the image's pixels as drawn.
    box = browser.evaluate("""(() => {
        const image = document.querySelector('.shot img').getBoundingClientRect();
        const box = document.querySelector('.box[data-key="welcome.title"]').getBoundingClientRect();
        const scale = image.width / 400;
        return {dx: (box.left - image.left) / scale - 40, dy: (box.top - image.top) / scale - 30,
                dw: box.width / scale - 200, dh: box.height / scale - 40, x: box.left + 10, y: box.top + 10};
    })()""")
    check(all(abs(box[d]) <= 2 for d in ("dx", "dy", "dw", "dh")), f"the box is off its string: {box}")
    browser.mouse("mouseMoved", box["x"], box["y"])
    check(browser.evaluate("getComputedStyle(document.querySelector('.box[data-key=\"welcome.title\"] .tip')).display")
          == "block", "hovering the box does not show its key")
    if pictures:
        browser.picture(os.path.join(pictures, "console-screenshot.png"))
    browser.click_at(box["x"], box["y"])
    browser.wait_for("document.activeElement?.dataset.key === 'welcome.title' && !document.getElementById('strings').hidden",
                     what="the clicked key open for editing")


def import_po(browser):
    po = ('msgctxt "welcome.greeting"\nmsgid "Hello"\nmsgstr "Grüß Gott!"\n\n'
          'msgctxt "catalogue.new"\nmsgid "New"\nmsgstr "Neu aus dem Katalog"\n')
    with tempfile.NamedTemporaryFile("w", suffix=".po", encoding="utf-8", delete=False) as file:
        file.write(po)
    try:
        browser.evaluate("document.querySelector('[data-tab=catalogues]').click()")
        browser.wait_for("document.querySelectorAll('#catalogue-exports button').length > 0", what="the export buttons")
        document = browser.send("DOM.getDocument")["root"]["nodeId"]
        picker = browser.send("DOM.querySelector", {"nodeId": document, "selector": "#catalogue-file"})["nodeId"]
        browser.send("DOM.setFileInputFiles", {"nodeId": picker, "files": [file.name]})
        browser.wait_for("document.getElementById('catalogues-status').textContent.includes('1 new, 1 changed')",
                         what="the dry run of the picked file")
        rows = browser.evaluate("[...document.querySelectorAll('#catalogue-changes tr')].map(r => r.cells[1].textContent)")
        check(sorted(rows) == ["catalogue.new", "welcome.greeting"], f"the dry run lists {rows}")
        request = urllib.request.Request(SERVER + "/admin/v1/projects/demo-app/entries?language=de&key=welcome.greeting",
                                         headers={"Authorization": f"Bearer {TOKEN}"})
        with urllib.request.urlopen(request) as answer:
            check(json.load(answer)[0]["draft"] == "Servus!", "a dry run wrote")
        browser.evaluate("document.getElementById('catalogue-apply').click()")
        browser.wait_for("document.getElementById('catalogues-status').textContent.startsWith('Imported as drafts')")
        browser.evaluate("document.querySelector('[data-tab=strings]').click();"
                         "document.getElementById('search').value = 'Grüß';"
                         "document.getElementById('filter').value = 'all';"
                         "document.getElementById('filter').dispatchEvent(new Event('change'))")
        browser.wait_for("document.querySelector('textarea[data-key=\"welcome.greeting\"]')?.value === 'Grüß Gott!'",
                         what="the imported text in the strings table")
    finally:
        os.unlink(file.name)


def admin_adds_a_translator(browser):
    browser.evaluate("document.querySelector('[data-tab=users]').click()")
    browser.wait_for("document.querySelector('#users-table tr[data-name=\"vic\"]')", what="the accounts")
    browser.evaluate("""(() => {
        const form = document.getElementById('add-user');
        form.elements.namedItem('name').value = 'tom';
        form.elements.namedItem('password').value = 'tom-password';
        form.requestSubmit();
    })()""")
    browser.wait_for("document.querySelector('#users-table tr[data-name=\"tom\"] select')?.value === 'translator'",
                     what="the added translator")
    answer = urllib.request.urlopen(urllib.request.Request(SERVER + "/console/session", method="POST", data=json.dumps(
        {"name": "tom", "password": "tom-password"}).encode(), headers={"Content-Type": "application/json"}))
    check(json.load(answer)["role"] == "translator", "the added translator cannot sign in")


def main():
    arguments = sys.argv[1:]
    global TOLVANA
    TOLVANA, server = arguments[:2]
    pictures = arguments[arguments.index("--pictures") + 1] if "--pictures" in arguments else None
    chromium = find_chromium()
    if not chromium:
        print("SKIPPED: no chromium installed (scripts/bootstrap installs it)")
        return 77
    tool("update", "--languages", "de")
    what_apps_send()
    add_user(server, "vic", "viewer")
    add_user(server, "ada", "admin")
    with Browser(chromium) as browser:
        viewer_is_offered_no_change(browser)
        sign_in(browser, "ada")
        browser.wait_for("document.querySelectorAll('#strings-table tbody tr').length > 0", what="the strings table")
        change_without_csrf_token_refused(browser)
        edit_and_publish(browser, pictures)
        accept_missing(browser)
        screenshot_boxes(browser, pictures)
        admin_adds_a_translator(browser)
        import_po(browser)
    print("console: a viewer offered no change, a change without the CSRF token refused; an admin signed in, "
          "edited and published, accepted a missing string, followed a screenshot's box, added a translator, "
          "imported a .po file")
    return 0


if __name__ == "__main__":
    sys.exit(main())
