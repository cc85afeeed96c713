// The figure: the bodies of its links in each of the body types, or its skeleton.
import {
  BufferAttribute,
  BufferGeometry,
  Color,
  Group,
  InstancedMesh,
  Matrix4,
  Mesh,
  MeshStandardMaterial,
  OctahedronGeometry,
  Quaternion,
  Scene,
  SphereGeometry,
  Vector3,
} from 'three';
import { SideColour, type Colours } from './colours';
import type { Motion, Pose } from './motion';

const kSkeleton = -1;

/// Two four-sided points, thickest near the start: along Y from 0 to 1, half as wide as 1.
function BoneGeometry(): BufferGeometry {
  const bone = new OctahedronGeometry(1, 0);
  const places = bone.getAttribute('position');
  for (let i = 0; i < places.count; ++i) {
    const y = places.getY(i);
    const middle = Math.abs(y) < 0.5;
    places.setXYZ(i, places.getX(i) * 0.5, middle ? 0.16 : y < 0 ? 0 : 1, places.getZ(i) * 0.5);
  }
  bone.computeVertexNormals();
  return bone;
}

function ShapeGeometry(points: Float32Array, normals: Int8Array, faces: Uint16Array) {
  const geometry = new BufferGeometry();
  geometry.setAttribute('position', new BufferAttribute(points, 3));
  geometry.setAttribute('normal', new BufferAttribute(normals, 3, true));
  geometry.setIndex(new BufferAttribute(faces, 1));
  return geometry;
}

interface Bone {
  link: number;
  end: number; // the link that it reaches to
}

export class Figure {
  readonly kinds: number[]; // what can be shown: the body types, then -1 for the skeleton
  private shown = kSkeleton;
  private readonly bodies: { group: Group; meshes: { mesh: Mesh; link: number }[] }[] = [];
  private readonly materials: MeshStandardMaterial[]; // none, right, left
  private readonly skeleton = new Group();
  private readonly bones: Bone[];
  private readonly boneMesh: InstancedMesh;
  private readonly jointMesh: InstancedMesh;

  constructor(
    scene: Scene,
    private readonly motion: Motion,
  ) {
    this.materials = [-1, 0, 1].map(
      () => new MeshStandardMaterial({ roughness: 0.62, metalness: 0.02 }),
    );
    for (const shapes of motion.bodies) {
      const group = new Group();
      const meshes = shapes.map((shape) => {
        const geometry = ShapeGeometry(shape.points, shape.normals, shape.faces);
        const mesh = new Mesh(geometry, this.materials[motion.links[shape.link].side + 1]);
        mesh.castShadow = mesh.receiveShadow = true;
        // The geometry's own bounds stand still while the link moves about.
        mesh.matrixAutoUpdate = false;
        group.add(mesh);
        return { mesh, link: shape.link };
      });
      group.visible = false;
      scene.add(group);
      this.bodies.push({ group, meshes });
    }
    this.kinds = [...this.bodies.map((_, i) => i), kSkeleton];

    this.bones = [];
    motion.links.forEach((link, i) => {
      if (link.parent >= 0) this.bones.push({ link: link.parent, end: i });
    });
    const material = new MeshStandardMaterial({ roughness: 0.7, flatShading: true });
    const joint = new MeshStandardMaterial({ roughness: 0.5 });
    this.boneMesh = new InstancedMesh(BoneGeometry(), material, Math.max(this.bones.length, 1));
    this.jointMesh = new InstancedMesh(new SphereGeometry(1, 14, 10), joint, motion.links.length);
    for (const mesh of [this.boneMesh, this.jointMesh]) {
      mesh.castShadow = mesh.receiveShadow = true;
      mesh.frustumCulled = false;
      this.skeleton.add(mesh);
    }
    this.boneMesh.count = this.bones.length;
    scene.add(this.skeleton);
  }

  get kind(): number {
    return this.shown;
  }
  Show(kind: number): void {
    this.shown = this.kinds.includes(kind) ? kind : this.kinds[0];
    this.bodies.forEach((body, i) => (body.group.visible = i === this.shown));
    this.skeleton.visible = this.shown === kSkeleton;
  }

  Dress(colours: Colours): void {
    this.materials.forEach((material, i) => {
      const tint = new Color(SideColour(colours, i - 1));
      material.color = new Color(colours.body).lerp(tint, 0.55);
    });
    this.bones.forEach((bone, i) => {
      const side = this.motion.links[bone.end].side;
      this.boneMesh.setColorAt(i, new Color(SideColour(colours, side)));
    });
    this.motion.links.forEach((link, i) => {
      const colour = new Color(SideColour(colours, link.side)).lerp(new Color(colours.text), 0.25);
      this.jointMesh.setColorAt(i, colour);
    });
    for (const mesh of [this.boneMesh, this.jointMesh]) {
      if (mesh.instanceColor) mesh.instanceColor.needsUpdate = true;
    }
  }

  Move(pose: Pose): void {
    if (this.shown === kSkeleton) this.MoveSkeleton(pose);
    else this.MoveBody(pose);
  }

  private MoveBody(pose: Pose): void {
    for (const { mesh, link } of this.bodies[this.shown].meshes) {
      mesh.matrix.compose(pose.places[link], pose.turns[link], kUnit);
      mesh.matrixWorldNeedsUpdate = true;
    }
  }

  private MoveSkeleton(pose: Pose): void {
    const { height } = this.motion;
    this.bones.forEach((bone, i) => {
      const start = pose.places[bone.link];
      along.copy(pose.places[bone.end]).sub(start);
      const length = along.length();
      const width = Math.min(Math.max(length * 0.24, height * 0.006), height * 0.04);
      turn.setFromUnitVectors(kUp, length > 0 ? along.divideScalar(length) : kUp);
      matrix.compose(start, turn, scale.set(width, length, width));
      this.boneMesh.setMatrixAt(i, matrix);
    });
    this.motion.links.forEach((link, i) => {
      const parent = link.parent >= 0 ? pose.places[link.parent] : undefined;
      const reach = parent ? parent.distanceTo(pose.places[i]) : height * 0.06;
      const radius = Math.min(Math.max(reach * 0.1, height * 0.004), height * 0.011);
      matrix.compose(pose.places[i], pose.turns[i], scale.setScalar(radius));
      this.jointMesh.setMatrixAt(i, matrix);
    });
    this.boneMesh.instanceMatrix.needsUpdate = true;
    this.jointMesh.instanceMatrix.needsUpdate = true;
  }
}

const kUp = new Vector3(0, 1, 0);
const kUnit = new Vector3(1, 1, 1);
const along = new Vector3();
const scale = new Vector3();
const turn = new Quaternion();
const matrix = new Matrix4();
