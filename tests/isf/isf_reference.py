#!/usr/bin/python3
"""The ISF reference renderer as a tool: renders an ISF shader with the
format's own renderer (npm interactive-shader-format, WebGL) in headless
Chromium, on given input images, input values and frames, and gives the
pixels back as the host's worlds hold them (top row first, 8-bit RGBA).

How the two sides meet:
- WebGL's origin is the bottom-left, as ISF's is: gl_FragCoord,
  isf_FragNormCoord and point2D values count up from the bottom row. The
  reference uploads images flipped (UNPACK_FLIP_Y_WEBGL), so an image's top
  row is at the top of the canvas, and its pixels are read back bottom row
  first; this tool returns them top row first. glfx's worlds are top row
  first too, and the ISF pipeline turns them bottom row first for the
  shaders, so the two pictures compare row for row.
- A host point is in layer pixels from the top-left: the point (x, y) given
  to glfx render is the ISF point (x, height - y).
- TIME, TIMEDELTA and FRAMEINDEX come from the frames given here (the
  renderer would take them from the wall clock).
- The reference renders its targets as 8-bit textures and binds each
  target's texture once before a frame's passes, so a pass reads the
  previous frame's content of the targets; a multi-pass effect settles
  after as many frames as its chain is long (give frames with unchanged
  inputs and capture the last). glfx follows the ISF specification: a pass
  reads what an earlier pass rendered in the same frame.

Usable as a module (Reference, read_png, psnr) or from the command line:
  isf_reference.py --setup DIR FILE.fs --size 64x48 --image inputImage=in.png
      --value amount=0.5 --time 1.0 --frames 2 -o out.ppm
"""

import argparse
import base64
import json
import math
import os
import struct
import subprocess
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))


def setup(directory):
    """Installs the renderer and bundles the page into `directory`."""
    subprocess.run([os.path.join(HERE, "setup_reference.sh"), directory], check=True)
    return directory


def read_png(path):
    """(width, height, bytes of RGBA rows top first) of an 8-bit PNG."""
    with open(path, "rb") as f:
        data = f.read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", path + " is no PNG"
    at, idat = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", body)
            assert depth == 8 and interlace == 0, path + ": only 8-bit, non-interlaced PNG is read"
            channels = {0: 1, 2: 3, 4: 2, 6: 4}[colour]
        elif kind == b"IDAT":
            idat += body
        at += 12 + length
    raw = zlib.decompress(idat)
    stride = width * channels
    rows, prev, at = [], bytearray(stride), 0
    for _ in range(height):
        kind, line = raw[at], bytearray(raw[at + 1:at + 1 + stride])
        at += 1 + stride
        for i in range(stride):
            a = line[i - channels] if i >= channels else 0
            b = prev[i]
            c = prev[i - channels] if i >= channels else 0
            if kind == 1:
                line[i] = (line[i] + a) & 255
            elif kind == 2:
                line[i] = (line[i] + b) & 255
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(bytes(line))
        prev = line
    out = bytearray()
    for line in rows:
        for x in range(width):
            px = line[x * channels:(x + 1) * channels]
            if channels == 1:
                out += bytes((px[0], px[0], px[0], 255))
            elif channels == 2:
                out += bytes((px[0], px[0], px[0], px[1]))
            elif channels == 3:
                out += bytes(px) + b"\xff"
            else:
                out += bytes(px)
    return width, height, bytes(out)


def psnr(a, b, channels=4):
    """Peak signal-to-noise ratio in dB of two RGBA byte strings (the first
    `channels` of each pixel compared); inf when equal."""
    assert len(a) == len(b), "pictures of different sizes"
    total, count = 0, 0
    for i in range(0, len(a), 4):
        for k in range(channels):
            d = a[i + k] - b[i + k]
            total += d * d
            count += 1
    if total == 0:
        return math.inf
    return 10 * math.log10(255 * 255 / (total / count))


def data_url(path):
    with open(path, "rb") as f:
        return "data:image/png;base64," + base64.b64encode(f.read()).decode()


class Reference:
    """A headless Chromium on the reference page. Close it when done."""

    def __init__(self, directory, chromedriver="/usr/bin/chromedriver"):
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
        opts = webdriver.ChromeOptions()
        for a in ("--headless=new", "--no-sandbox", "--disable-gpu", "--use-angle=swiftshader",
                  "--enable-unsafe-swiftshader", "--allow-file-access-from-files"):
            opts.add_argument(a)
        self.driver = webdriver.Chrome(service=Service(chromedriver), options=opts)
        self.driver.set_script_timeout(120)
        self.driver.get("file://" + os.path.join(os.path.abspath(directory), "reference_page.html"))

    def close(self):
        self.driver.quit()

    def render(self, fragment, width, height, vertex=None, images=None, values=None, frames=None,
               upgrade=False):
        """Renders and returns one RGBA byte string (top row first) per
        captured frame. `images`: {input name: PNG path}; `values`: {input
        name: value as ISF takes it}; `frames`: [{"TIME", "TIMEDELTA",
        "FRAMEINDEX", "values", "capture"}] (default: one frame at time 0).
        `upgrade`: a version 1 file, upgraded by the renderer's upgrader."""
        spec = {
            "fragment": fragment, "vertex": vertex, "width": width, "height": height,
            "images": {k: data_url(v) for k, v in (images or {}).items()},
            "values": values or {}, "upgrade": upgrade,
            "frames": frames or [{"TIME": 0.0, "TIMEDELTA": 0.0, "FRAMEINDEX": 0, "capture": True}],
        }
        result = self.driver.execute_async_script(
            "const done = arguments[arguments.length - 1];"
            "window.renderIsf(arguments[0]).then(done, e => done({error: String(e)}));", spec)
        if "error" in result:
            raise RuntimeError("reference renderer: " + result["error"])
        return [bytes(p) for p in result["pixels"]]


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("fragment")
    ap.add_argument("--setup", required=True, help="folder the renderer is installed into")
    ap.add_argument("--vertex")
    ap.add_argument("--size", default="64x48")
    ap.add_argument("--image", action="append", default=[], help="NAME=PNG")
    ap.add_argument("--value", action="append", default=[], help="NAME=JSON value")
    ap.add_argument("--time", type=float, default=0.0)
    ap.add_argument("--fps", type=float, default=30.0)
    ap.add_argument("--frames", type=int, default=1, help="frames rendered; the last is written")
    ap.add_argument("--upgrade", action="store_true")
    ap.add_argument("-o", "--output", required=True, help="a PAM file (RGBA)")
    a = ap.parse_args()
    w, h = (int(v) for v in a.size.split("x"))
    setup(a.setup)
    ref = Reference(a.setup)
    try:
        frames = [{"TIME": a.time + i / a.fps, "TIMEDELTA": 0.0 if i == 0 else 1 / a.fps, "FRAMEINDEX": i,
                   "capture": i == a.frames - 1} for i in range(a.frames)]
        with open(a.fragment) as f:
            fs = f.read()
        vs = open(a.vertex).read() if a.vertex else None
        pixels = ref.render(fs, w, h, vertex=vs, images=dict(i.split("=", 1) for i in a.image),
                            values={k: json.loads(v) for k, v in (i.split("=", 1) for i in a.value)},
                            frames=frames, upgrade=a.upgrade)[-1]
    finally:
        ref.close()
    with open(a.output, "wb") as f:
        f.write(b"P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n" % (w, h))
        f.write(pixels)


if __name__ == "__main__":
    main()
