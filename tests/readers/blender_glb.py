"""Run inside Blender: imports .glb files and compares its bones with the program's own table.

blender ... -P blender_glb.py -- REPORT HEIGHT MOTION.glb MOTION.csv [HEIGHT GLB CSV]...
Writes REPORT when all is well; ends with an error otherwise.
"""

import csv
import json
import struct
import sys

import numpy

# Debian's importer asks for names that this numpy no longer has.
for name, kind in {"bool": bool, "int": int, "float": float, "object": object}.items():
    if name not in numpy.__dict__:
        setattr(numpy, name, kind)

import bpy
from mathutils import Vector

FOOTPRINTS = 15


def metres_per_unit(path):
    with open(path, "rb") as file:
        file.seek(12)
        length, _ = struct.unpack("<II", file.read(8))
        document = json.loads(file.read(length))
    return document["scenes"][0]["extras"]["strider"]["metresPerUnit"]


def table(path):
    frames = {}
    with open(path, newline="", encoding="utf-8") as file:
        for row in csv.DictReader(file):
            if int(row["id"]) == FOOTPRINTS:
                continue
            place = Vector((float(row["px"]), float(row["py"]), float(row["pz"])))
            frames.setdefault(int(row["frame"]), {})[row["name"]] = place
    return frames


def check(height, glb, csv_path):
    bpy.ops.wm.read_factory_settings(use_empty=True)
    scene = bpy.context.scene
    scene.render.fps = 30
    bpy.ops.import_scene.gltf(filepath=glb)
    armatures = [o for o in scene.objects if o.type == "ARMATURE"]
    bodies = [o for o in scene.objects if any(m.type == "ARMATURE" for m in o.modifiers)]
    assert len(armatures) == 1 and len(bodies) == 1, [o.name for o in scene.objects]
    armature = armatures[0]
    metres = metres_per_unit(glb)
    frames = table(csv_path)
    first, last = min(frames), max(frames)
    furthest = 0.0
    for frame in {*range(first, last, 11), last}:
        scene.frame_set(frame - first)
        for name, place in frames[frame].items():
            bone = armature.pose.bones[name]
            away = (armature.matrix_world @ bone.head - metres * place).length
            furthest = max(furthest, away / (metres * height))
    assert furthest < 1e-4, f"{glb}: a bone is {furthest} heights off"
    # What is drawn stands on the ground.
    drawn = bodies[0].evaluated_get(bpy.context.evaluated_depsgraph_get())
    lowest = min((drawn.matrix_world @ v.co).z for v in drawn.data.vertices)
    assert abs(lowest) < 0.02 * metres * height, f"{glb}: the body's lowest corner at {lowest} m"
    return furthest


arguments = sys.argv[sys.argv.index("--") + 1 :]
report, rest = arguments[0], arguments[1:]
lines = []
for height, glb, csv_path in zip(rest[0::3], rest[1::3], rest[2::3]):
    lines.append(f"{glb}: furthest bone {check(float(height), glb, csv_path):.1e} heights off")
with open(report, "w", encoding="utf-8") as file:
    file.write("\n".join(lines) + "\n")
