#!/usr/bin/python3
"""Time from a slider change in the preview page to the new frame shown
there: the built-in effect on the 1280x720 test pattern, in headless
Chromium. Prints the median over --changes changes, split into the render
(the plug-in's render as the preview timed it) and the transport (request,
the pushed event, the frame scaled to the page and PNG-encoded, transfer
and decoding).

  bench/preview/latency.py --glfx build/glfx [--changes 50]
"""

import argparse
import signal
import statistics
import subprocess

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

# Moves the slider and resolves when the frame of a newer render has loaded.
CHANGE = """
const [value, done] = arguments;
const frame = document.getElementById('frame');
const before = Number(frame.dataset.generation || 0);
const range = document.querySelector('input[type=range][data-uniform="threshold"]');
const start = performance.now();
const check = () => {
  if (Number(frame.dataset.generation || 0) > before && frame.complete && frame.naturalWidth)
    done(performance.now() - start);
  else
    setTimeout(check, 1);
};
range.value = value;
range.dispatchEvent(new Event('input'));
check();
"""


def main():
    p = argparse.ArgumentParser()
    p.add_argument("--glfx", required=True)
    p.add_argument("--chromedriver", default="/usr/bin/chromedriver")
    p.add_argument("--changes", type=int, default=50)
    a = p.parse_args()

    proc = subprocess.Popen([a.glfx, "preview", "--size", "1280x720"], stdout=subprocess.PIPE, text=True)
    url = proc.stdout.readline().strip()
    opts = webdriver.ChromeOptions()
    for arg in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1600,900"):
        opts.add_argument(arg)
    d = webdriver.Chrome(service=Service(a.chromedriver), options=opts)
    d.set_script_timeout(30)
    try:
        d.get(url)
        d.execute_async_script("const done = arguments[0]; const f = document.getElementById('frame');"
                               "const w = () => f.naturalWidth ? done() : setTimeout(w, 10); w();")
        totals, renders = [], []
        for i in range(a.changes):
            total = d.execute_async_script(CHANGE, 0.3 + 0.4 * (i % 2))
            panel = d.execute_script("return fetch('/api/panel').then(r => r.json());")
            totals.append(total)
            renders.append(panel["render_ms"])
        rest = [t - r for t, r in zip(totals, renders)]
        print("changes %d, 1280x720, built-in effect" % a.changes)
        print("change to frame shown: median %.1f ms" % statistics.median(totals))
        print("  render:              median %.1f ms" % statistics.median(renders))
        print("  transport and rest:  median %.1f ms" % statistics.median(rest))
    finally:
        d.quit()
        proc.send_signal(signal.SIGINT)
        proc.wait(timeout=20)
        proc.stdout.close()


if __name__ == "__main__":
    main()
