// Footprints on the ground, each with its number; a step that is above the ground stands on a
// block, so that stairs look like stairs.
import {
  BoxGeometry,
  CanvasTexture,
  Color,
  ExtrudeGeometry,
  Group,
  InstancedBufferAttribute,
  InstancedMesh,
  Matrix4,
  MeshBasicMaterial,
  MeshStandardMaterial,
  PlaneGeometry,
  Quaternion,
  Scene,
  ShaderMaterial,
  Shape,
  Vector3,
} from 'three';
import { SideColour, type Colours } from './colours';
import { kLeft, type Footstep, type Motion, type Sole } from './motion';

/// The outline of a sole, toes towards +X, its inner side towards -Y of a left foot.
function SoleShape(sole: Sole, side: number): Shape {
  const { toe, heel } = sole;
  const inward = side === kLeft ? -1 : 1;
  const half = Math.max(sole.width, (toe + heel) * 0.28) / 2;
  const shape = new Shape();
  const at = (x: number, y: number): [number, number] => [x, y * half * inward];
  shape.moveTo(...at(-heel, 0));
  shape.bezierCurveTo(...at(-heel, 0.95), ...at(-heel * 0.1, 0.72), ...at(toe * 0.3, 0.72));
  shape.bezierCurveTo(...at(toe * 0.6, 0.75), ...at(toe * 0.98, 1.25), ...at(toe, 0.35));
  shape.bezierCurveTo(...at(toe, -0.35), ...at(toe * 0.78, -1.1), ...at(toe * 0.5, -1.05));
  shape.bezierCurveTo(...at(toe * 0.2, -1), ...at(-heel, -1.1), ...at(-heel, 0));
  return shape;
}

/// The ten digits side by side, white on nothing.
function DigitTexture(): CanvasTexture {
  const canvas = document.createElement('canvas');
  canvas.width = 640;
  canvas.height = 96;
  const context = canvas.getContext('2d')!;
  context.font = '700 84px system-ui, "DejaVu Sans", sans-serif';
  context.textAlign = 'center';
  context.textBaseline = 'middle';
  context.lineJoin = 'round';
  context.lineWidth = 12;
  for (let digit = 0; digit < 10; ++digit) {
    context.strokeStyle = 'rgba(0,0,0,1)';
    context.strokeText(String(digit), digit * 64 + 32, 50, 52);
    context.fillStyle = '#fff';
    context.fillText(String(digit), digit * 64 + 32, 50, 52);
  }
  const texture = new CanvasTexture(canvas);
  texture.anisotropy = 8;
  return texture;
}

/// Digits face the camera and stand where their footstep is. The picture's white takes the digit's
/// colour and its black that of the ground, so that the digit reads on whatever lies behind it.
function DigitMaterial(texture: CanvasTexture, height: number): ShaderMaterial {
  return new ShaderMaterial({
    transparent: true,
    depthWrite: false,
    uniforms: {
      digits: { value: texture },
      rim: { value: new Color() },
      size: { value: height },
    },
    vertexShader: `
      attribute vec3 place, colour;
      attribute vec2 glyph;  // which digit, and how many digits beside the middle
      uniform float size;
      varying vec2 at;
      varying vec3 ink;
      void main() {
        at = vec2((glyph.x + uv.x) / 10.0, uv.y);
        ink = colour;
        vec4 seen = viewMatrix * vec4(place, 1.0);
        seen.xy += vec2(position.x * 0.667 + glyph.y * 0.6, position.y) * size;
        gl_Position = projectionMatrix * seen;
      }`,
    fragmentShader: `
      uniform sampler2D digits;
      uniform vec3 rim;
      varying vec2 at;
      varying vec3 ink;
      void main() {
        vec4 texel = texture2D(digits, at);
        if (texel.a < 0.05) discard;
        gl_FragColor = vec4(mix(rim, ink, texel.r), texel.a);
        #include <colorspace_fragment>
      }`,
  });
}

export class Footprints {
  readonly group = new Group();
  private readonly soles: { mesh: InstancedMesh; steps: Footstep[] }[] = [];
  private readonly blockMaterial = new MeshStandardMaterial({ roughness: 0.95 });
  private readonly digits: InstancedMesh<PlaneGeometry, ShaderMaterial> | undefined;
  private readonly digitSides: number[] = [];
  private colours: Colours | undefined;
  private downNow = '';

  constructor(
    scene: Scene,
    private readonly motion: Motion,
  ) {
    const { footsteps, soles, height } = motion;
    scene.add(this.group);
    if (footsteps.length === 0) return;
    for (const side of [0, 1]) this.AddSoles(side, footsteps.filter((step) => step.side === side));
    this.AddBlocks(footsteps.filter((step) => step.place.y > height * 0.004));
    this.digits = this.AddDigits(soles[0].toe + soles[0].heel);
  }

  private AddSoles(side: number, steps: Footstep[]): void {
    const { soles, height } = this.motion;
    if (steps.length === 0) return;
    const depth = height * 0.0025;
    const geometry = new ExtrudeGeometry(SoleShape(soles[side], side), {
      depth,
      bevelEnabled: false,
      curveSegments: 10,
    }).rotateX(-Math.PI / 2);
    const mesh = new InstancedMesh(geometry, new MeshBasicMaterial(), steps.length);
    mesh.frustumCulled = false;
    // Each a little higher than those before it, as an old print lies under a new one.
    steps.forEach((step, i) => {
      const lift = height * 0.00002 * (i % 50);
      mesh.setMatrixAt(i, PlacedAt(step, lift));
    });
    this.group.add(mesh);
    this.soles.push({ mesh, steps });
  }

  private AddBlocks(steps: Footstep[]): void {
    if (steps.length === 0) return;
    const sole = this.motion.soles[0];
    const length = (sole.toe + sole.heel) * 1.25;
    const width = Math.max(sole.width * 1.5, length * 0.5);
    const geometry = new BoxGeometry(length, 1, width);
    geometry.translate((sole.toe - sole.heel) / 2, -0.5, 0);
    const mesh = new InstancedMesh(geometry, this.blockMaterial, steps.length);
    mesh.receiveShadow = true;
    mesh.castShadow = true;
    mesh.frustumCulled = false;
    steps.forEach((step, i) => {
      const gap = this.motion.height * 0.001;
      const scaled = PlacedAt(step, -gap).scale(new Vector3(1, step.place.y, 1));
      mesh.setMatrixAt(i, scaled);
    });
    this.group.add(mesh);
  }

  private AddDigits(soleLength: number): InstancedMesh<PlaneGeometry, ShaderMaterial> {
    const places: number[] = [];
    const glyphs: number[] = [];
    const size = Math.max(soleLength * 0.5, this.motion.height * 0.05);
    for (const step of this.motion.footsteps) {
      const text = String(step.index);
      // Outside of the foot, where the leg does not hide it.
      const aside = (step.side === kLeft ? 1 : -1) * size * 0.95;
      for (let k = 0; k < text.length; ++k) {
        places.push(
          step.place.x - Math.sin(step.heading) * aside,
          step.place.y + size * 0.5,
          step.place.z - Math.cos(step.heading) * aside,
        );
        glyphs.push(Number(text[k]), k - (text.length - 1) / 2);
        this.digitSides.push(step.side);
      }
    }
    const geometry = new PlaneGeometry(1, 1);
    const count = this.digitSides.length;
    const attribute = (numbers: number[] | Float32Array, size: number) =>
      new InstancedBufferAttribute(new Float32Array(numbers), size);
    geometry.setAttribute('place', attribute(places, 3));
    geometry.setAttribute('glyph', attribute(glyphs, 2));
    geometry.setAttribute('colour', attribute(new Float32Array(3 * count), 3));
    const mesh = new InstancedMesh(geometry, DigitMaterial(DigitTexture(), size), count);
    mesh.frustumCulled = false;
    mesh.renderOrder = 3;
    this.group.add(mesh);
    return mesh;
  }

  Dress(colours: Colours): void {
    this.colours = colours;
    this.downNow = '';
    this.blockMaterial.color = new Color(colours.faint);
    if (!this.digits) return;
    this.digits.material.uniforms.rim.value = new Color(colours.background);
    const colour = this.digits.geometry.getAttribute('colour');
    this.digitSides.forEach((side, i) => {
      const ink = new Color(SideColour(colours, side)).lerp(new Color(colours.text), 0.25);
      colour.setXYZ(i, ink.r, ink.g, ink.b);
    });
    colour.needsUpdate = true;
  }

  /// Prints that a foot stands on are bright, those of the past fade, those to come are pale.
  Move(time: number): void {
    if (!this.colours) return;
    const state = (step: Footstep) => (time < step.start ? 'c' : time < step.end ? 'd' : 'p');
    const states = this.motion.footsteps.map(state).join('');
    if (states === this.downNow) return;
    this.downNow = states;
    const ground = new Color(this.colours.background);
    const share: Record<string, number> = { c: 0.6, d: 0, p: 0.42 };
    for (const { mesh, steps } of this.soles) {
      steps.forEach((step, i) => {
        const colour = new Color(SideColour(this.colours!, step.side));
        mesh.setColorAt(i, colour.lerp(ground, share[state(step)]));
      });
      if (mesh.instanceColor) mesh.instanceColor.needsUpdate = true;
    }
  }
}

function PlacedAt(step: Footstep, lift: number): Matrix4 {
  const turn = new Quaternion().setFromAxisAngle(new Vector3(0, 1, 0), step.heading);
  const place = step.place.clone();
  place.y += lift;
  return new Matrix4().compose(place, turn, new Vector3(1, 1, 1));
}
