#!/usr/bin/python3
"""ISF effects through glfx render against the ISF reference renderer: for
each test shader (tests/data/isf, one or more a feature) the same input
images, time, frames and input values go to both, and the pictures must
agree to at least 40 dB PSNR. How coordinates and rows are matched is told
in isf_reference.py. Exits 0 when every check holds."""

import argparse
import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import isf_reference  # noqa: E402

ARGS = None
W, H = 64, 48
MIN_PSNR = 40.0


def frames(count, time=0.0, fps=10.0):
    """`count` frames from `time` at `fps`, the last captured: what glfx
    renders for --frames 0-(count-1) --fps fps on a still image."""
    return [{"TIME": time + i / fps, "TIMEDELTA": 0.0 if i == 0 else 1.0 / fps, "FRAMEINDEX": i,
             "capture": i == count - 1} for i in range(count)]


class AgainstReference(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.TemporaryDirectory()
        d = cls.dir.name
        cls.input = os.path.join(d, "in.png")
        cls.other = os.path.join(d, "other.png")
        # Real pictures made by FFmpeg: colour bars with gradients and text,
        # and another pattern for the second image.
        for source, path in (("testsrc2", cls.input), ("rgbtestsrc", cls.other)):
            subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "%s=s=%dx%d" % (source, W, H),
                            "-frames:v", "1", path], check=True)
        cls.ref = isf_reference.Reference(ARGS.reference, ARGS.chromedriver)
        os.makedirs(ARGS.out, exist_ok=True)

    @classmethod
    def tearDownClass(cls):
        cls.ref.close()
        cls.dir.cleanup()

    def shader(self, name):
        with open(os.path.join(ARGS.data, name)) as f:
            return f.read()

    def glfx(self, name, args, out, frame_count=1):
        """glfx render of tests/data/isf/NAME; the last frame's pixels."""
        cmd = [ARGS.glfx, "render", "--effect", os.path.join(ARGS.data, name), "-q"] + args
        if frame_count > 1:
            pattern = os.path.join(self.dir.name, out + ".####.png")
            subprocess.run(cmd + ["--frames", "0-%d" % (frame_count - 1), "--fps", "10", "-o", pattern],
                           check=True)
            path = pattern.replace("####", "%04d" % (frame_count - 1))
        else:
            path = os.path.join(self.dir.name, out + ".png")
            subprocess.run(cmd + ["-o", path], check=True)
        w, h, pixels = isf_reference.read_png(path)
        self.assertEqual((w, h), (W, H))
        return pixels

    def compare(self, label, ours, theirs, minimum=MIN_PSNR):
        value = isf_reference.psnr(ours, theirs)
        with open(os.path.join(ARGS.out, label + ".pam"), "wb") as f:
            f.write(b"P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n" % (W, H * 2))
            f.write(ours + theirs)
        self.assertGreaterEqual(value, minimum, "%s: %.1f dB" % (label, value))

    def case(self, label, name, glfx_args, images=None, values=None, frame_list=None, vertex=None,
             upgrade=False):
        ours = self.glfx(name, glfx_args, label, len(frame_list) if frame_list else 1)
        theirs = self.ref.render(self.shader(name), W, H, vertex=self.shader(vertex) if vertex else None,
                                 images=images, values=values, frames=frame_list, upgrade=upgrade)[-1]
        self.compare(label, ours, theirs)
        return ours, theirs

    def test_values_at_their_defaults(self):
        self.case("values-default", "values.fs", [self.input], images={"inputImage": self.input})

    def test_values_set(self):
        # A long sends its VALUE (10 for "Blue"), a colour its alpha too.
        self.case("values-set", "values.fs",
                  [self.input, "--set", "gain=1.3", "--set", "negate=true", "--set", "channel=Blue",
                   "--set", "tint=0.2,0.4,0.6,0.8"],
                  images={"inputImage": self.input},
                  values={"gain": 1.3, "negate": True, "channel": 10, "tint": [0.2, 0.4, 0.6, 0.8]})

    def test_points(self):
        # Host points are layer pixels from the top-left: (20, 10) is ISF's
        # (20, 48 - 10); the ranged point maps the frame onto 0..1.
        ours, _ = self.case("points", "points.fs",
                            ["--size", "%dx%d" % (W, H), "--set", "spot=20,10", "--set", "where=48,12"],
                            values={"spot": [20, 38], "where": [0.75, 0.75]})
        # The disc is near the top of the picture (top row first).
        red_at = lambda x, y: ours[(y * W + x) * 4]
        self.assertGreater(red_at(20, 10), 200)
        self.assertLess(red_at(20, 38), 50)

    def test_points_at_their_defaults(self):
        # The ranged point's default (0.25, 0.75) is exact; the pixel point's
        # default is pixels of a 1920x1080 frame, scaled to this one.
        self.case("points-default", "points.fs", ["--size", "%dx%d" % (W, H)],
                  values={"spot": [40 * W / 1920, 30 * H / 1080]})

    def test_builtins_over_frames(self):
        # TIME, TIMEDELTA, FRAMEINDEX, RENDERSIZE, PASSINDEX and
        # isf_FragNormCoord of a generator (no input image), frame by frame.
        for count in (1, 3):
            with self.subTest(frames=count):
                self.case("builtins-%d" % count, "builtins.fs",
                          ["--size", "%dx%d" % (W, H)] + (["--time", "0.5"] if count == 1 else []),
                          frame_list=frames(count, 0.5 if count == 1 else 0.0))

    def test_image_functions(self):
        self.case("images", "images.fs", [self.input, "--layer", "overlay=" + self.other],
                  images={"inputImage": self.input, "overlay": self.other})

    def test_transition_at_several_progress_values(self):
        for progress in (0.0, 0.3, 0.7, 1.0):
            with self.subTest(progress=progress):
                self.case("transition-%g" % progress, "transition.fs",
                          [self.input, "--layer", "endImage=" + self.other, "--set", "progress=%g" % progress],
                          images={"startImage": self.input, "endImage": self.other},
                          values={"progress": progress})

    def test_version_1_file(self):
        # The reference reads a pass's target as the previous frame left it:
        # three frames with the same inputs settle it.
        self.case("version1", "version1.fs", [self.input], images={"inputImage": self.input},
                  frame_list=[dict(f, TIME=0.0, TIMEDELTA=0.0) for f in frames(3)], upgrade=True)

    def test_vertex_shader_with_varyings(self):
        self.case("varyings", "varyings.fs", [self.input, "--set", "shift=-0.2"],
                  images={"inputImage": self.input}, values={"shift": -0.2}, vertex="varyings.vs")

    def test_multipass_with_named_targets(self):
        self.case("multipass", "multipass.fs", [self.input, "--set", "reach=3"],
                  images={"inputImage": self.input}, values={"reach": 3.0},
                  frame_list=[dict(f, TIME=0.0, TIMEDELTA=0.0) for f in frames(3)])

    def test_event_fires_for_one_frame(self):
        # Fired before the first frame: that frame sees true, the next false.
        name = "event.fs"
        ours0 = self.glfx(name, [self.input, "--set", "flash=true"], "event-on", 1)
        ours1 = self.glfx(name, [self.input, "--set", "flash=true"], "event-after", 2)
        on, off = (self.ref.render(self.shader(name), W, H, images={"inputImage": self.input},
                                   values={"flash": v})[0] for v in (True, False))
        self.compare("event-on", ours0, on)
        self.compare("event-after", ours1, off)
        self.assertLess(isf_reference.psnr(on, off), 20)


def main():
    global ARGS
    ap = argparse.ArgumentParser()
    ap.add_argument("--glfx", required=True)
    ap.add_argument("--reference", required=True)
    ap.add_argument("--chromedriver", default="/usr/bin/chromedriver")
    ap.add_argument("--data", required=True)
    ap.add_argument("--out", required=True)
    ARGS, rest = ap.parse_known_args()
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    main()
