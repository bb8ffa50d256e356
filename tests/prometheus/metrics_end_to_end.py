"""Vitrek's figures through node_exporter's textfile collector into a real Prometheus server, on loopback.

Usage: metrics_end_to_end.py VITREK_EXECUTABLE

Starts node_exporter (textfile collector only), `vitrek --headless --metrics-dir`, and Prometheus scraping
node_exporter every second, each on a free port and in a scratch folder; asks Prometheus for
vitrek_recovery_percent and compares it with `vitrek report --json` over the same data folder. Every
process it starts is stopped on the way out, whatever happens; the whole run is bounded in time.
"""

import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse
import urllib.request

VITREK = None
DEADLINE = 90  # seconds for the whole run; Prometheus itself starts in one or two


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def get(url):
    with urllib.request.urlopen(url, timeout=5) as response:
        return response.read().decode()


class MetricsEndToEnd(unittest.TestCase):
    def setUp(self):
        self.started = time.monotonic()
        self.scratch = tempfile.mkdtemp(prefix="vitrek-metrics-")
        self.processes = []
        self.logs = []
        self.textfiles = self.folder("textfiles")
        self.env = dict(os.environ)
        for harness in ("VITREK_SNAPSHOT_DIR", "VITREK_DEMO_DIR", "VITREK_SELFTEST"):
            self.env.pop(harness, None)
        self.env.update({
            "USER": "e2e",
            "VITREK_DATA_DIR": self.folder("data"),
            "VITREK_CHECKUP_MS": "200",
            "XDG_CONFIG_HOME": self.folder("config"),
            "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent/bus",
            "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent/bus",
        })

    def tearDown(self):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.terminate()
                try:
                    process.wait(timeout=5)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()
        for log in self.logs:
            log.close()
        shutil.rmtree(self.scratch, ignore_errors=True)

    def folder(self, name):
        path = os.path.join(self.scratch, name)
        os.makedirs(path)
        return path

    def start(self, name, arguments, **options):
        log = open(os.path.join(self.scratch, name + ".log"), "wb")
        self.logs.append(log)
        process = subprocess.Popen(arguments, stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                   **options)
        self.processes.append(process)
        return process

    def left(self):
        remaining = DEADLINE - (time.monotonic() - self.started)
        if remaining <= 0:
            logs = {name: self.read(name)[-2000:] for name in os.listdir(self.scratch) if name.endswith(".log")}
            self.fail("out of time; logs: " + json.dumps(logs, indent=1))
        return remaining

    def read(self, name):
        with open(os.path.join(self.scratch, name)) as file:
            return file.read()

    def vitrek(self, *arguments):
        return subprocess.run([VITREK, *arguments], env=self.env, capture_output=True, text=True,
                              timeout=self.left())

    def test_prometheus_scrapes_what_the_report_says(self):
        exporter_port, prometheus_port = free_port(), free_port()
        self.start("node_exporter", [
            "prometheus-node-exporter", f"--web.listen-address=127.0.0.1:{exporter_port}",
            "--collector.disable-defaults", "--collector.textfile",
            f"--collector.textfile.directory={self.textfiles}"])
        self.start("vitrek", [VITREK, "--headless", "--metrics-dir", self.textfiles], env=self.env)
        config = os.path.join(self.scratch, "prometheus.yml")
        with open(config, "w") as file:
            file.write("global:\n  scrape_interval: 1s\n  evaluation_interval: 1s\n"
                       "scrape_configs:\n  - job_name: node\n    static_configs:\n"
                       f"      - targets: ['127.0.0.1:{exporter_port}']\n")
        self.start("prometheus", [
            "prometheus", f"--config.file={config}", f"--storage.tsdb.path={self.folder('tsdb')}",
            f"--web.listen-address=127.0.0.1:{prometheus_port}"])

        query = f"http://127.0.0.1:{prometheus_port}/api/v1/query?" + urllib.parse.urlencode(
            {"query": 'vitrek_recovery_percent{user="e2e"}'})
        # The machine is live, so a figure may move between the scrape and the report: ask until both agree.
        seen = []
        while True:
            self.left()
            try:
                result = json.loads(get(query))["data"]["result"]
            except OSError:
                result = []
            if result:
                scraped = float(result[0]["value"][1])
                report = self.vitrek("report", "--json")
                self.assertEqual(report.returncode, 0, report.stderr)
                reported = json.loads(report.stdout)["recovery"]
                if scraped == reported:
                    break
                seen.append((scraped, reported))
                self.assertLess(len(seen), 10, f"scraped and reported recovery never agreed: {seen}")
            time.sleep(0.5)
        self.assertEqual(result[0]["metric"]["instance"], f"127.0.0.1:{exporter_port}")
        self.assertEqual(os.listdir(self.textfiles), ["vitrek-e2e.prom"])

    def test_metrics_command_prints_valid_exposition_text(self):
        metrics = self.vitrek("metrics")
        self.assertEqual(metrics.returncode, 0, metrics.stderr)
        check = subprocess.run(["promtool", "check", "metrics"], input=metrics.stdout, capture_output=True,
                               text=True, timeout=self.left())
        self.assertEqual(check.returncode, 0, check.stdout + check.stderr)
        self.assertIn('vitrek_recovery_percent{user="e2e"} ', metrics.stdout)

    def test_a_file_that_cannot_be_written_is_said_once(self):
        # A folder in the file's place: even root can't rename over it.
        os.mkdir(os.path.join(self.textfiles, "vitrek-e2e.prom"))
        self.start("vitrek", [VITREK, "--headless", "--metrics-dir", self.textfiles], env=self.env)
        while self.read("vitrek.log").count("recovery") < 10:
            self.left()
            time.sleep(0.2)
        text = self.read("vitrek.log")
        self.assertEqual(text.count("can’t write metrics"), 1, text)
        self.assertEqual(sorted(os.listdir(self.textfiles)), ["vitrek-e2e.prom"], "a temporary file was left")

    def test_a_missing_folder_is_refused(self):
        missing = os.path.join(self.scratch, "missing")
        headless = self.vitrek("--headless", "--metrics-dir", missing)
        self.assertEqual(headless.returncode, 2)
        self.assertEqual(headless.stderr.count("\n"), 1, headless.stderr)
        self.assertIn(missing, headless.stderr)


if __name__ == "__main__":
    VITREK = os.path.abspath(sys.argv.pop(1))
    unittest.main()
