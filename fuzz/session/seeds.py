#!/usr/bin/env python3
"""Writes the session fuzzer's seed inputs into fuzz/session/corpus/.

Each seed is a script in the layout Player.h describes: a description byte,
an instance byte (count and host modes), a depth and frame-rate byte, then
commands, each a code, an instance and its argument bytes. Run again after
the layout or the command list changes."""
import os

# Command codes, in the order of Player.cpp's Command enum.
(START, GLOBAL_SETUP, PARAMS_SETUP, SEQUENCE_SETUP, UPDATE_UI, RENDER, RENDER_AGAIN,
 USER_CHANGE, SET_LAYER, FLATTEN, RESETUP, TAMPERED_RESETUP, DO_DIALOG, ABOUT,
 SEQUENCE_SETDOWN, GLOBAL_SETDOWN, OTHER, LAYER_SIZE, FINISH, NEW_INSTANCE) = range(20)

# Descriptions, in the order of Descriptions.cpp.
BUILTIN, EVERY_TYPE, PRESETS, BROKEN, NONE_GAP, INVERT = range(6)


def instances(count, premiere=()):
    """The instance byte: count 1..3, Premiere for the slots listed."""
    b = count - 1
    for slot in premiere:
        b |= 1 << (2 + slot)
    return b


def render(inst, w, h, flags=0, fill=0x80):
    return [RENDER, inst, flags, w - 1, h - 1, fill]


SEEDS = {
    # Every parameter type, After Effects 8-bit: a legal session with a
    # flatten and reopen, a popup change, a layer and the dialog.
    "legal_ae": [EVERY_TYPE, instances(1), 0,
                 START, 0,
                 *render(0, 8, 6),
                 USER_CHANGE, 0, 2, 2, 0, 0,          # popup "Pick" to its third choice
                 SET_LAYER, 0, 0x10, 5, 4, 0x40,       # the layer parameter: a 6x5 world
                 *render(0, 8, 6, flags=0x30),
                 FLATTEN, 0, RESETUP, 0,
                 *render(0, 4, 4),
                 DO_DIALOG, 0, FINISH, 0],
    # Presets and a group switch under Premiere.
    "legal_premiere": [PRESETS, instances(1, premiere=[0]), 0,
                       START, 0,
                       USER_CHANGE, 0, 0, 1, 0, 0,     # the Look popup to its second preset
                       *render(0, 5, 3),
                       USER_CHANGE, 0, 3, 1, 0, 0,     # the group switch on
                       UPDATE_UI, 0,
                       *render(0, 7, 7, fill=0x20),
                       FLATTEN, 0, RESETUP, 0,
                       *render(0, 3, 3)],
    # The built-in effect on three instances: After Effects 16-bit, Premiere,
    # After Effects 8-bit; the middle one set down early.
    "three_instances": [BUILTIN, instances(3, premiere=[1]), 1,
                        START, 0, START, 1, START, 2,
                        *render(0, 6, 4), *render(1, 6, 4), *render(2, 9, 2),
                        SEQUENCE_SETDOWN, 1,
                        *render(0, 4, 4, flags=0x02), *render(2, 4, 4)],
    # Commands out of order: a render before any setup, flatten twice, a
    # setdown without setup, a render after global setdown, a re-setup from
    # bytes cut short.
    "out_of_order": [INVERT, instances(1), 2,
                     *render(0, 4, 4),
                     FLATTEN, 0, FLATTEN, 0,
                     SEQUENCE_SETDOWN, 0,
                     START, 0,
                     *render(0, 4, 4),
                     GLOBAL_SETDOWN, 0,
                     *render(0, 4, 4),
                     FLATTEN, 0,
                     TAMPERED_RESETUP, 0, 1, 128, 3,       # the saved bytes cut to half
                     *render(0, 4, 4),
                     OTHER, 0, 1],
    # A shader that does not compile: render, dialog (the build log), About.
    "broken_shader": [BROKEN, instances(1), 0,
                      START, 0, *render(0, 4, 4), DO_DIALOG, 0, ABOUT, 0],
}


def main():
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
    os.makedirs(folder, exist_ok=True)
    for name, values in SEEDS.items():
        with open(os.path.join(folder, name + ".bin"), "wb") as f:
            f.write(bytes(v & 0xFF for v in values))


if __name__ == "__main__":
    main()
