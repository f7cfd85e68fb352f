#!/usr/bin/env python3
"""The console as one sees it: its page in a browser, against a box of its own.

Usage: console_test.py BIN, the folder with routerbox and greeter. Ends with 77 where there is no browser.
"""
import http.client
import json
import os
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from browser import Browser

kSkipped = 77
kDown, kEnter, kEscape = "\ue015", "\ue007", "\ue00c"
BIN = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else Path()

# What no page may take for its own, from everything that can put a text there.
MARKUP = "<script>document.title='taken'</script><img src=x onerror=\"document.title='taken'\">%s%n%20"
HOSTILE = f"""#!/bin/sh
set -- {shlex.quote(MARKUP)}
printf '%s\\033[31m\\001\\377 \\342\\200\\256end\\n' "$1"
head -c 65536 /dev/zero | tr '\\0' A
echo
curl -sG 127.0.0.1:14000/api --data-urlencode "method=$1" >/dev/null
curl -s 127.0.0.1:6800/jsonrpc -d '{{"jsonrpc":"2.0","id":"1","method":"aria2.addUri","params":[["http://127.0.0.1:8080/slow/20000/4000000"],
 {{"dir":"/tmp","out":"<b>50%s\\u202e.bin","appid":"4002"}}]}}' >/dev/null
sleep 1000
"""
PROJECT = f"""[box]
router = true
downloads = true
files = true
[[plugin]]
name = "greeter"
appid = "4001"
run = "{BIN}/greeter"
abilities = ["cloud_communication", "notify_rcv"]
[[plugin]]
name = "hostile"
appid = "4002"
run = "./hostile"
abilities = ["download"]
"""


def routerbox(*words, status=0):
    done = subprocess.run([BIN / "routerbox", *words], capture_output=True, text=True, timeout=30)
    if done.returncode != status:
        raise AssertionError(f"routerbox {' '.join(words)} ended with {done.returncode}: {done.stdout}{done.stderr}")
    return done.stdout


def box(verb, *words):
    return json.loads(routerbox(verb, "--json", *words))


def row_of(name):
    return next(row for row in box("ps")["plugins"] if row["name"] == name)


class Console(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.mkdtemp(prefix="console-")
        cls.addClassCleanup(shutil.rmtree, folder, ignore_errors=True)
        os.chmod(folder, 0o755)
        os.chdir(folder)
        Path("box.toml").write_text(PROJECT)
        Path("hostile").write_text(HOSTILE)
        os.chmod("hostile", 0o755)
        routerbox("up")
        cls.addClassCleanup(routerbox, "down")
        cls.console = subprocess.Popen([BIN / "routerbox", "console", "--json"], stdout=subprocess.PIPE, text=True)
        cls.addClassCleanup(cls.end_console)
        cls.address = json.loads(cls.console.stdout.readline())["address"]
        cls.page = Browser()
        cls.addClassCleanup(cls.page.end)
        cls.page.devtools("Emulation.setDeviceMetricsOverride", width=1440, height=900, deviceScaleFactor=1, mobile=False)
        cls.page.open(cls.address)

    @classmethod
    def end_console(cls):
        cls.console.terminate()
        cls.console.wait()
        cls.console.stdout.close()

    def setUp(self):
        self.page.ask("POST", "/refresh")
        self.page.wait("document.body.dataset.connection === 'running' && document.querySelectorAll('.plugin').length === 2")

    def wait(self, script, *arguments, within=10):
        return self.page.wait(script, *arguments, within=within)

    def wait_for_text(self, selector, text, within=10):
        self.wait("document.querySelector(arguments[0])?.textContent.includes(arguments[1])", selector, text, within=within)

    def wait_for_state(self, path, value):
        routerbox("expect", "state", path, str(value), "--within", "2s")

    def open_plugin(self, name):
        self.page.click(f"[data-key={name}].plugin > [aria-expanded=false]")

    def open_line(self, text, channel):
        self.page.fill("#filter", text)
        self.wait("/^[1-9] of/.test(document.getElementById('count').textContent)")
        self.page.click(f".row[data-channel={channel}]:not([hidden])")
        self.wait("!document.getElementById('line').hidden")

    # ---- Left ----

    def test_plugins_are_as_ps_shows_them(self):
        row = row_of("greeter")
        self.wait_for_text("[data-key=greeter] .facts", f"appid 4001 · uid {row['uid']} · pid {row['pid']}")
        self.wait_for_text("[data-key=greeter] .state", "running · ")
        self.wait_for_text("[data-key=greeter] .state", " MiB")

    def test_plugins_and_services_are_stopped_and_started(self):
        self.open_plugin("greeter")
        for name in ("greeter", "files"):
            self.page.click(f"[data-key={name}] [data-verb=stop]")
            self.wait(f"document.querySelector('[data-key={name}]').dataset.state === 'stopped'")
            self.page.click(f"[data-key={name}] [data-verb=start]")
            self.wait(f"document.querySelector('[data-key={name}]').dataset.state === 'running'")
        before = row_of("greeter")["pid"]
        self.page.click("[data-key=greeter] [data-verb=restart]")
        self.wait_for_text("#notice", "routerbox restart greeter")
        self.assertNotEqual(row_of("greeter")["pid"], before)

    def test_a_killed_plugin_turns_red_within_a_second(self):
        took = []
        for _ in range(3):  # a busy machine may take its time once
            self.wait("document.querySelector('[data-key=greeter]').dataset.state === 'running'")
            routerbox("exec", "--", "kill", "-9", str(row_of("greeter")["pid"]))
            self.wait("document.querySelector('[data-key=greeter]').dataset.state === 'bad'")
            took.append(self.page.took)
            routerbox("start", "greeter")
        self.assertLess(min(took), 1)

    def test_abilities_are_switched_in_the_table(self):
        self.open_plugin("greeter")
        self.page.click("[data-key=greeter] .abilities label", "wifi")
        self.wait_for_text("#notice", "routerbox ability greeter wifi on")
        held = [row["name"] for row in box("ability", "greeter")["abilities"] if row["held"]]
        self.assertEqual(held, ["cloud_communication", "notify_rcv", "wifi"])

    # ---- Middle ----

    def test_a_line_opens_and_is_sent_again(self):
        routerbox("send", "greeter", "once more")
        self.open_line("once more", "bus")
        self.wait_for_text("#line .sides", '"msg": "once more"')
        self.wait_for_text("#line .sides", "Good day! You said: once more")
        routerbox("mark")
        self.page.click("#line button", "send again")
        self.wait_for_text("#notice", "routerbox send greeter 'once more'")
        sent = [line for line in routerbox("log", "--json", "bus").splitlines() if '"msg":"once more"' in line]
        self.assertEqual(len(sent), 2)

    def test_a_line_becomes_a_test_step(self):
        routerbox("send", "greeter", "step")
        self.open_line('"msg":"step"', "bus")
        self.page.click("#line button", "copy as test step")
        self.wait_for_text("#notice code", "box send greeter step --expect '^Good day! You said: step$'")

    def test_a_line_becomes_a_fault(self):
        self.open_line("addUri", "downloads")
        self.page.click("#line button", "make a fault")
        self.wait("[...document.querySelectorAll('#faults select')].map((e) => e.value).join() === 'downloads,aria2.addUri'")

    def test_the_timeline_is_filtered(self):
        routerbox("send", "greeter", "needle")
        self.page.fill("#filter", "needle")
        self.wait("document.querySelectorAll('.row:not([hidden])').length === 2")
        self.page.click("button.channel", "life")
        self.wait("document.querySelectorAll('.row:not([hidden])').length === 1")

    def test_lines_are_reached_with_the_keyboard(self):
        routerbox("send", "greeter", "keys")
        self.page.press("/", *"send greeter keys")
        self.wait("document.getElementById('count').textContent.startsWith('1 of')")
        self.page.run("document.getElementById('lines').focus()")
        self.page.press(kDown, kEnter)
        self.assertEqual(self.page.run("return document.activeElement.textContent"), "send again")
        self.page.press(kEscape)
        self.assertEqual(self.page.run("return [document.activeElement.id, document.getElementById('line').hidden]"), ["lines", True])

    def test_the_oldest_lines_go(self):
        line = '{"at":1,"channel":"files","from":"root","to":"files","what":"GET /&","result":"200"}'
        routerbox("exec", "--", "sh", "-c", f"seq 20000 | sed 's!.*!{line}!' >>/var/run/box/trace.jsonl")
        self.wait("[...document.querySelectorAll('.row:not([hidden])')].some((row) => row.textContent.includes('GET /20000'))")
        self.assertRegex(self.page.run("return document.getElementById('count').textContent"), "^5,... of")
        self.assertLess(self.page.run("return document.querySelectorAll('.row').length"), 100)

    # ---- Right ----

    def test_a_message_arrives_and_its_answer_is_shown(self):
        self.page.fill("#message-text", "Is it raining?")
        self.page.click("#send button.main", "send message")
        self.wait_for_text(".answer", "Good day! You said: Is it raining?")
        self.assertIn("send_cmd", routerbox("log", "bus"))

    def test_an_event_is_sent(self):
        routerbox("mark")
        self.page.click("#send .choice", "event")
        self.page.click("#send button.main", "send event")
        routerbox("expect", "event", "wan", "256", "--within", "2s")

    def test_the_router_is_switched(self):
        switches = (("WAN link", "WAN.WAN_NET", 0), ("cable", "WAN.WAN_LINE", 0), ("Home ·", "WIFIStatus.0.WIFI_Status", 0))
        for label, path, value in switches:
            self.page.click("#router label.toggle", label)
            self.wait_for_state(path, value)
        for place, path in ((0, "WAN.WAN_IP"), (1, "WAN.WAN_PPPoE_DNS1")):
            self.page.run("const i = document.querySelectorAll('#router .field input')[arguments[0]]; i.focus(); i.value = '192.0.2.9';"
                          "i.dispatchEvent(new Event('change'))", place)
            self.wait_for_state(path, "192.0.2.9")
        routerbox("wan", "up")
        self.wait("document.querySelector('#router label.toggle input').checked")

    def test_disks_come_and_go(self):
        self.page.fill("#router form input", "sdz9")
        self.page.click("#router form button")
        self.wait_for_text(".disks", "sdz9")
        self.assertIn("sdz9", json.dumps(box("state", "DiskInfo")))
        self.page.click(".disks [data-key=sdz9] button", "remove")
        self.wait("!document.querySelector('.disks').textContent.includes('sdz9')")

    def test_faults_are_offered_as_each_service_has_them(self):
        for service, method, kind in (("downloads", "aria2.tellStatus", "without"), ("bus", "greeter", "late:500ms"),
                                      ("router", "query_disk_info", "oversize:20000")):
            self.page.run("const s = document.querySelector('#faults select'); s.value = arguments[0]; s.dispatchEvent(new Event('change'))", service)
            self.wait("[...arguments].every((v) => [...document.querySelectorAll('#faults option')].some((o) => o.value === v))", method, kind)

    def test_faults_are_armed_played_and_cleared(self):
        self.page.click("#faults button.main", "arm fault")
        self.wait_for_text(".armed", "router *: delay ms=1000")
        routerbox("exec", "--", "curl", "-s", "127.0.0.1:14000/api?method=query_router_info")
        self.wait_for_text(".armed", "played 1 of 1")
        self.page.click(".armed button", "clear")
        self.wait("document.querySelectorAll('.armed li').length === 0")

    def test_downloads_are_paused_resumed_and_deleted(self):
        self.wait("document.querySelector('#downloads progress')?.value > 0")
        for change, state in (("pause", "paused"), ("resume", "active"), ("delete", "removed"), ("delete", None)):
            self.page.click(f"#downloads [data-change={change}]")
            self.wait("(document.querySelector('.download')?.dataset.state ?? null) === arguments[0]", state)
        routerbox("restart", "hostile")

    # ---- Foot ----

    def test_what_is_recorded_runs(self):
        self.page.click("#record button.main", "record")
        self.wait_for_text("#record", "recording: 0 steps")
        self.page.fill("#message-text", "hello")
        self.page.click("#send button.main", "send message")
        self.wait_for_text(".answer", "hello")
        routerbox("wan", "down")
        self.wait_for_text("#record", "recording: 2 steps")
        self.page.click("#record button.main", "stop")
        self.wait_for_text("#recorded", "box wan down")
        Path("tests").mkdir()
        Path("tests/recorded.bats").write_text(self.page.run("return document.getElementById('recorded').textContent"))
        self.assertIn("ok 1", routerbox("test"))

    # ---- What comes from outside ----

    def test_hostile_texts_stay_texts(self):
        self.open_plugin("hostile")
        self.wait_for_text("[data-key=hostile] .output", "AAAA")
        routerbox("send", "greeter", MARKUP + "\x01\u202e")
        self.page.fill("#filter", "script")
        self.page.run("document.getElementById('message-text').value = arguments[0]", MARKUP + "x" * 65536)
        self.page.click("#send button.main", "send message")
        self.wait_for_text(".answer", "Good day! You said: <script>")
        self.wait("[...document.querySelectorAll('.row')].some((row) => row.textContent.includes('<script>'))")
        shown = self.page.run("return document.body.innerText")
        self.assertIn("<b>50%s\\u202e.bin", shown)
        self.assertIn("␁", shown)
        self.assertNotIn("\u202e", shown)
        self.assertIsNone(self.page.run("return document.querySelector('main script, main img, main b b')"))
        self.assertNotEqual(self.page.run("return document.title"), "taken")

    def test_strangers_get_nothing(self):
        host, token = self.address.removeprefix("http://").split("/#")
        good = {"Host": host, "Authorization": "Bearer " + token}
        cases = (
            ("no token", {"Authorization": ""}, 401),
            ("a wrong token", {"Authorization": "Bearer " + token[:-1] + ("0" if token[-1] != "0" else "1")}, 401),
            ("a foreign host", {"Host": "box.example:" + host.split(":")[1]}, 403),
            ("a foreign origin", {"Origin": "http://box.example"}, 403),
            ("another site's page", {"Sec-Fetch-Site": "cross-site"}, 403),
            ("its own page", {"Origin": "http://" + host, "Sec-Fetch-Site": "same-origin"}, 200),
        )
        for name, headers, status in cases:
            with self.subTest(name):
                connection = http.client.HTTPConnection(host, timeout=5)
                connection.request("POST", "/api/ps", "{}", {**good, **headers})
                answer = connection.getresponse()
                self.assertEqual((answer.status, answer.read() == b""), (status, status != 200))
                connection.close()

    def test_a_page_without_a_token_says_what_to_open(self):
        self.addCleanup(self.page.open, self.address)
        self.page.run("sessionStorage.clear()")
        self.page.ask("POST", "/refresh")
        self.wait_for_text("#connection", "open the address that routerbox console printed")

    def test_the_page_tells_of_the_boxs_end_and_comes_back(self):
        routerbox("down")
        self.wait_for_text("#connection", "the box has ended", within=2)
        routerbox("up")
        self.wait_for_text("#connection", "live", within=3)
        self.wait_for_text("[data-key=greeter] .state", "running")


if __name__ == "__main__":
    missing = [program for program in ("chromium", "chromedriver") if not shutil.which(program)]
    if missing:
        print("skipped: not installed:", " ".join(missing))
        sys.exit(kSkipped)
    unittest.main(verbosity=2)
