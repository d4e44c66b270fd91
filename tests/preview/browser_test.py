#!/usr/bin/python3
"""The preview page in headless Chromium: load it, move a slider, choose a
preset, flip a group switch and drag a point, asserting on the frame's
pixels (read back from the page's own image) and on the controls. Exits 0
when every check holds; screenshots go to --out."""

import argparse
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

# red = gain * tint, green = 0.5 while the switch is on, blue = the point's x
# across the frame. Choosing "dark" sets gain to 0.2 through a preset.
EFFECT = """[settings]
name=Browser
[par1]
name=Gain
param=gain
type=float
min=0
max=1
default=1
[par2]
name=On
param=on
type=check
text=Enable
default=true
groupswitch=10
[par3]
name=Tint
param=tint
type=float
min=0
max=1
default=1
group=11
[par4]
name=Look
param=look
type=popup
text=plain|dark
flags=3
[par5]
name=Centre
param=centre
type=point
default=10|10
[preset_look_1]
gain=0.2
[ps0]
uniform float gain;
uniform float tint;
uniform int on;
uniform vec2 centre;
uniform vec2 resolution;
void main() {
  gl_FragColor = vec4(gain * tint, on == 1 ? 0.5 : 0.0, clamp(centre.x / resolution.x, 0.0, 1.0), 1.0);
}
"""

READ_PIXEL = """
const img = document.getElementById('frame');
if (!img.complete || img.naturalWidth === 0) return null;
const c = document.createElement('canvas');
c.width = img.naturalWidth; c.height = img.naturalHeight;
const g = c.getContext('2d');
g.drawImage(img, 0, 0);
return Array.from(g.getImageData(arguments[0], arguments[1], 1, 1).data);
"""

ARGS = None


def start_preview(args, window="1000,700"):
    """`glfx preview ARGS` and a headless Chromium on its page's address."""
    proc = subprocess.Popen([ARGS.glfx, "preview"] + args, stdout=subprocess.PIPE, text=True)
    url = proc.stdout.readline().strip()
    opts = webdriver.ChromeOptions()
    for a in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=" + window):
        opts.add_argument(a)
    return proc, url, webdriver.Chrome(service=Service(ARGS.chromedriver), options=opts)


def stop_preview(proc, driver):
    """Closes the browser, then stops the preview as Ctrl-C does; its exit status."""
    driver.quit()
    proc.send_signal(signal.SIGINT)
    status = proc.wait(timeout=20)
    proc.stdout.close()
    return status


class PreviewPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.TemporaryDirectory()
        effect = cls.effect = os.path.join(cls.dir.name, "browser.glfx")
        with open(effect, "w") as f:
            f.write(EFFECT)
        cls.proc, cls.url, cls.driver = start_preview(["--effect", effect, "--size", "160x120"])
        os.makedirs(ARGS.out, exist_ok=True)

    @classmethod
    def tearDownClass(cls):
        cls.status = stop_preview(cls.proc, cls.driver)
        cls.dir.cleanup()

    def control(self, uniform):
        return self.driver.find_element(By.CSS_SELECTOR, '[data-uniform="%s"]' % uniform)

    def generation(self):
        return int(self.driver.find_element(By.ID, "frame").get_attribute("data-generation") or 0)

    def pixel_after(self, before, x=0, y=0):
        """The frame's pixel once a render newer than `before` is shown."""
        def shown(d):
            if self.generation() <= before:
                return None
            return d.execute_script(READ_PIXEL, x, y)
        return WebDriverWait(self.driver, 15).until(shown)

    def shot(self, name):
        self.driver.save_screenshot(os.path.join(ARGS.out, name + ".png"))

    def test_panel_and_frame(self):
        d = self.driver
        self.assertTrue(self.url.startswith("http://127.0.0.1:"), self.url)
        d.get(self.url)
        px = self.pixel_after(0)
        self.assertAlmostEqual(px[0], 255, delta=2)  # gain 1, tint 1
        self.assertAlmostEqual(px[1], 128, delta=2)  # switch on
        items = d.find_elements(By.CSS_SELECTOR, "#diagnostics li")
        self.assertEqual(items, [], [i.text for i in items])
        self.shot("01-loaded")

        # A slider moved as a user drags it (input events on the range).
        g = self.generation()
        d.execute_script("const r = arguments[0]; r.value = 0.5; r.dispatchEvent(new Event('input'));",
                         self.control("gain"))
        px = self.pixel_after(g)
        self.assertAlmostEqual(px[0], 128, delta=2)
        self.shot("02-slider")

        # The preset writes gain back; the slider shows it.
        g = self.generation()
        Select(self.control("look")).select_by_visible_text("dark")
        px = self.pixel_after(g)
        self.assertAlmostEqual(px[0], 51, delta=2)
        self.assertAlmostEqual(float(self.control("gain").get_attribute("value")), 0.2, places=3)
        self.shot("03-preset")

        # The switch disables the group's control and changes the frame.
        self.assertTrue(self.control("tint").is_enabled())
        g = self.generation()
        self.control("on").click()
        px = self.pixel_after(g)
        self.assertEqual(px[1], 0)
        WebDriverWait(d, 10).until(lambda _: not self.control("tint").is_enabled())
        self.shot("04-switch")

        # A point dragged across the frame: the control and the frame follow.
        frame = d.find_element(By.ID, "frame")
        width = frame.size["width"]
        g = self.generation()
        ActionChains(d).move_to_element_with_offset(frame, -width // 4, 0).click_and_hold() \
            .move_by_offset(width // 2, 0).release().perform()
        deadline = time.time() + 15
        while time.time() < deadline:
            x = float(self.control("centre").get_attribute("value") or 0)
            px = d.execute_script(READ_PIXEL, 0, 0)
            if x > 100 and px and abs(px[2] - round(255 * x / 160)) <= 3:
                break
            time.sleep(0.1)
        self.assertGreater(x, 100)  # three quarters across a 160-pixel frame
        self.assertAlmostEqual(px[2], round(255 * x / 160), delta=3)
        self.shot("05-point")

        # The description edited on disk: broken, the build log shows and the
        # last good frame stays; fixed, the new shader's frame arrives.
        log = d.find_element(By.ID, "buildlog")
        self.assertFalse(log.is_displayed())
        before = d.execute_script(READ_PIXEL, 0, 0)
        with open(self.effect, "w") as f:
            f.write(EFFECT.replace("1.0);\n}", "1.0) +;\n}"))
        WebDriverWait(d, 15).until(lambda _: log.is_displayed())
        self.assertIn("error", log.text)
        # The message names the pass and the broken line of the file.
        line = EFFECT[:EFFECT.index("1.0);\n}")].count("\n") + 1
        self.assertIn("in pass 0", log.text)
        self.assertIn("browser.glfx:%d:" % line, log.text)
        self.assertEqual(d.execute_script(READ_PIXEL, 0, 0), before)
        self.shot("06-broken")
        g = self.generation()
        with open(self.effect, "w") as f:
            f.write(EFFECT.replace("gain * tint,", "0.25,"))
        px = self.pixel_after(g)
        WebDriverWait(d, 15).until(lambda _: not log.is_displayed())
        px = WebDriverWait(d, 15).until(
            lambda _: (lambda q: q if q and abs(q[0] - 64) <= 2 else None)(d.execute_script(READ_PIXEL, 0, 0)))
        self.assertAlmostEqual(px[0], 64, delta=2)
        self.shot("07-fixed")

        # A parameter added by editing: its control appears, the controls
        # that stayed keep their values, and it drives the frame.
        gain = float(self.control("gain").get_attribute("value"))
        added = EFFECT.replace("[preset_look_1]", "[par6]\nname=Boost\nparam=boost\ntype=float\nmin=0\n"
                               "max=1\ndefault=0.5\n[preset_look_1]")
        added = added.replace("uniform float gain;", "uniform float gain;\nuniform float boost;")
        added = added.replace("gain * tint,", "boost,")
        with open(self.effect, "w") as f:
            f.write(added)
        boost = WebDriverWait(d, 15).until(
            lambda _: d.find_elements(By.CSS_SELECTOR, 'input[type=range][data-uniform="boost"]'))[0]
        self.assertAlmostEqual(float(boost.get_attribute("value")), 0.5, places=3)
        self.assertAlmostEqual(float(self.control("gain").get_attribute("value")), gain, places=3)
        self.assertFalse(self.control("on").is_selected())
        self.assertFalse(self.control("tint").is_enabled())  # still switched off by "on"
        px = WebDriverWait(d, 15).until(
            lambda _: (lambda q: q if q and abs(q[0] - 128) <= 2 else None)(d.execute_script(READ_PIXEL, 0, 0)))
        self.assertAlmostEqual(px[0], 128, delta=2)
        g = self.generation()
        d.execute_script("arguments[0].value = 0.25; arguments[0].dispatchEvent(new Event('input'));", boost)
        px = self.pixel_after(g)
        self.assertAlmostEqual(px[0], 64, delta=2)
        self.shot("08-added")


class BuiltInEffect(unittest.TestCase):
    """The built-in effect's panel on the test pattern (the README's picture)."""

    def test_panel(self):
        proc, url, d = start_preview(["--size", "960x540"], window="1400,800")
        try:
            d.get(url)
            WebDriverWait(d, 30).until(lambda _: d.execute_script(READ_PIXEL, 480, 270))
            groups = d.find_elements(By.CSS_SELECTOR, "#controls details")
            sliders = d.find_elements(By.CSS_SELECTOR, "#controls input[type=range][data-uniform]")
            self.assertGreater(len(groups), 0)
            self.assertGreater(len(sliders), 0)
            self.assertEqual(d.find_elements(By.CSS_SELECTOR, "#diagnostics li"), [])
            self.assertEqual(d.find_element(By.ID, "title").text, "Cinematic")
            d.save_screenshot(os.path.join(ARGS.out, "00-built-in.png"))
        finally:
            self.assertEqual(stop_preview(proc, d), 0)


class VideoInput(unittest.TestCase):
    """A video as the input: the time slider spans the clip in steps of its
    frames, and moving it shows the frame of that time."""

    def test_slider_walks_the_frames(self):
        with tempfile.TemporaryDirectory() as tmp:
            clip = os.path.join(tmp, "clip.mkv")
            # Ten frames at 10 a second; frame n is a flat grey of luma 16 + 20n.
            subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "nullsrc=s=64x48:r=10:d=1",
                            "-vf", "format=yuv420p,geq=lum='16+20*N':cb=128:cr=128", "-c:v", "ffv1", clip],
                           check=True)
            effect = os.path.join(tmp, "pass.glfx")
            with open(effect, "w") as f:
                f.write("[settings]\nname=Pass\n[ps0]\nuniform sampler2D in0;\n"
                        "void main() { gl_FragColor = texture2D(in0, gl_TexCoord[0].st); }\n")
            proc, url, d = start_preview(["--effect", effect, clip])
            try:
                d.get(url)
                WebDriverWait(d, 30).until(lambda _: d.execute_script(READ_PIXEL, 0, 0))
                slider = d.find_element(By.ID, "time")
                WebDriverWait(d, 10).until(lambda _: abs(float(slider.get_attribute("step")) - 0.1) < 1e-9)
                self.assertAlmostEqual(float(slider.get_attribute("max")), 0.9, places=6)
                d.execute_script("arguments[0].value = 0.55; arguments[0].dispatchEvent(new Event('input'));",
                                 slider)
                # The slider snaps to a frame (5 or 6), and that frame is shown.
                frame = round(float(slider.get_attribute("value")) * 10)
                self.assertIn(frame, (5, 6))
                want = round(20 * frame / 219 * 255)
                px = WebDriverWait(d, 15).until(
                    lambda _: (lambda q: q if q and abs(q[0] - want) <= 3 else None)(
                        d.execute_script(READ_PIXEL, 0, 0)))
                self.assertAlmostEqual(px[0], want, delta=3)
                d.find_element(By.ID, "play").click()
                WebDriverWait(d, 15).until(lambda _: float(slider.get_attribute("value")) > 0.65)
                d.find_element(By.ID, "play").click()
                d.save_screenshot(os.path.join(ARGS.out, "09-video.png"))
            finally:
                self.assertEqual(stop_preview(proc, d), 0)


def main():
    global ARGS
    p = argparse.ArgumentParser()
    p.add_argument("--glfx", required=True)
    p.add_argument("--chromedriver", default="/usr/bin/chromedriver")
    p.add_argument("--out", required=True)
    ARGS = p.parse_args()
    result = unittest.main(argv=[sys.argv[0]], exit=False).result
    ok = result.wasSuccessful() and PreviewPage.status == 0
    if PreviewPage.status != 0:
        print("glfx preview exited with status %s after SIGINT" % PreviewPage.status)
    sys.exit(0 if ok else 1)


if __name__ == "__main__":
    main()
