#!/usr/bin/env python3
"""Opens arrays of the program with numpy and compares them with its table of the same motion.

npz_test.py PROGRAM; exit status 77, which stands for skipped, where numpy is not installed.
"""
import csv
import json
import pathlib
import subprocess
import sys
import tempfile

try:
    import numpy as np
except ImportError:
    print("numpy is not installed")
    sys.exit(77)

TYPES = {"b": "bool", "i": "signed integer", "f": "float", "U": "text"}


def make(program, line, output):
    done = subprocess.run([program, "make", *line.split(), "--json", "-o", output],
                          check=True, capture_output=True, text=True)
    return json.loads(done.stdout)


def check(program, line, folder):
    document = make(program, line, folder / "m.npz")
    make(program, line + " --with-footsteps", folder / "m.csv")
    with np.load(folder / "m.npz", allow_pickle=False) as archive:
        motion = {name: archive[name] for name in archive.files}
    for name, array in motion.items():
        assert array.dtype.kind in TYPES, (name, array.dtype)
        assert array.dtype.isnative and array.flags.c_contiguous, name

    with open(folder / "m.csv", newline="", encoding="utf-8") as file:
        rows = list(csv.DictReader(file))
    links = len(motion["link_names"])
    names = motion["link_names"].tolist()
    order = [names.index(row["name"]) for row in rows[:links]]
    assert sorted(order) == list(range(links))

    def column(*keys):
        values = np.array([[row[key] for key in keys] for row in rows], dtype=np.float32)
        values = values.reshape(-1, links, len(keys))
        turned = np.empty_like(values)
        turned[:, order] = values
        return turned

    assert np.array_equal(motion["positions"], column("px", "py", "pz"))
    assert np.array_equal(motion["rotations"], column("qx", "qy", "qz", "qw"))
    assert np.array_equal(motion["frames"], [float(r["frame"]) for r in rows[::links]])
    assert np.array_equal(motion["times"], [float(r["seconds"]) for r in rows[::links]])
    parents = motion["parents"]
    assert parents[0] == -1 and (parents[1:] < np.arange(1, links)).all() and (parents[1:] >= 0).all()
    assert np.array_equal(motion["root_positions"], motion["positions"][:, 0])

    with open(folder / "m.contacts.csv", newline="", encoding="utf-8") as file:
        contacts = [[row["right"], row["left"]] for row in csv.DictReader(file)]
    assert np.array_equal(motion["contacts"], np.array(contacts, dtype=int).astype(bool))

    steps = document["footsteps"]
    assert np.array_equal(motion["footstep_positions"],
                          np.array([s["position"] for s in steps], dtype=np.float32))
    assert motion["footstep_sides"].tolist() == [int(s["side"] == "left") for s in steps]
    assert np.allclose(motion["footstep_starts"] * 4800, [s["start"] for s in steps])
    assert np.allclose(motion["footstep_durations"] * 4800, [s["duration"] for s in steps])
    assert len(motion["flight_land_times"]) == len(document["flights"])
    assert len(motion["transition_times"]) == len(document["transitions"])
    assert motion["key_tracks"].tolist() == list(document["tracks"])
    for name, track in document["tracks"].items():
        assert np.allclose(motion["key_times_" + name] * 4800, track["times"])
    structure = dict(zip(motion["figure_parameters"].tolist(), motion["figure_values"]))
    assert structure["height"] == np.float32(document["figure"]["structure"]["height"])
    print(f"{line}: {len(motion)} arrays, {len(motion['times'])} times, {links} links")


def main():
    with tempfile.TemporaryDirectory() as folder:
        for line in ("walk --footsteps 8 --bend 10", "run --height 1.8 --fingers 5 --twists true"):
            check(sys.argv[1], line, pathlib.Path(folder))


main()
