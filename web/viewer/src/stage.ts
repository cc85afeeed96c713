// The room that the figure moves in: ground with a metre grid, light with soft shadows, camera.
import {
  Box3,
  Color,
  DirectionalLight,
  DoubleSide,
  Fog,
  HemisphereLight,
  Mesh,
  PCFShadowMap,
  PerspectiveCamera,
  PlaneGeometry,
  Scene,
  ShaderMaterial,
  ShadowMaterial,
  Vector3,
  WebGLRenderer,
} from 'three';
import { OrbitControls } from 'three/addons/controls/OrbitControls.js';
import type { Colours } from './colours';

/// A step of 1, 2 or 5 times a power of ten, at or above a length.
export function RoundStep(length: number): number {
  const power = 10 ** Math.floor(Math.log10(length));
  for (const factor of [1, 2, 5]) {
    if (factor * power >= length * 0.999) return factor * power;
  }
  return 10 * power;
}

/// Lines that keep their width on the screen and fade out towards the horizon.
function GridMaterial(cell: number, reach: number): ShaderMaterial {
  return new ShaderMaterial({
    transparent: true,
    depthWrite: false,
    side: DoubleSide,
    uniforms: {
      cell: { value: cell },
      reach: { value: reach },
      centre: { value: new Vector3() },
      colour: { value: new Color() },
    },
    vertexShader: `
      varying vec3 place;
      void main() {
        place = (modelMatrix * vec4(position, 1.0)).xyz;
        gl_Position = projectionMatrix * viewMatrix * vec4(place, 1.0);
      }`,
    fragmentShader: `
      varying vec3 place;
      uniform float cell, reach;
      uniform vec3 centre, colour;
      float Lines(vec2 at, float width) {
        vec2 wide = fwidth(at);
        vec2 away = abs(fract(at - 0.5) - 0.5) / max(wide, vec2(1e-6));
        float line = 1.0 - min(min(away.x, away.y) / width, 1.0);
        return line * (1.0 - smoothstep(0.2, 0.7, max(wide.x, wide.y)));
      }
      void main() {
        float fade = 1.0 - smoothstep(0.25 * reach, reach, distance(place.xz, centre.xz));
        float alpha = 0.5 * Lines(place.xz / cell, 1.0) + 0.15 * Lines(place.xz * 5.0 / cell, 0.8);
        gl_FragColor = vec4(colour, alpha * fade);
        #include <colorspace_fragment>
      }`,
  });
}

export type View = 'corner' | 'side' | 'front' | 'top';
export const kViews: View[] = ['corner', 'side', 'front', 'top'];

export class Stage {
  readonly scene = new Scene();
  readonly camera: PerspectiveCamera;
  readonly cell: number; // metres between the grid's lines
  readonly renderer: WebGLRenderer;
  private readonly controls: OrbitControls;
  private readonly sky = new HemisphereLight(0xffffff, 0x8d949e, 1.5);
  private readonly sun = new DirectionalLight(0xfff4e6, 2.1);
  private readonly ground: Mesh<PlaneGeometry, ShadowMaterial>;
  private readonly grid: Mesh<PlaneGeometry, ShaderMaterial>;
  private readonly followed = new Vector3();
  private readonly resized: ResizeObserver;

  /// `size` is the height of the figure; everything is measured by it. Throws where a browser
  /// has no WebGL.
  constructor(
    readonly canvas: HTMLCanvasElement,
    readonly size: number,
    readonly extent: Box3,
    private readonly changed: () => void,
  ) {
    this.renderer = new WebGLRenderer({ canvas, antialias: true, preserveDrawingBuffer: true });
    this.renderer.shadowMap.enabled = true;
    this.renderer.shadowMap.type = PCFShadowMap;
    this.renderer.setPixelRatio(Math.min(window.devicePixelRatio, 2));

    const reach = Math.max(30 * size, extent.getSize(new Vector3()).length() * 2);
    this.camera = new PerspectiveCamera(38, 1, size / 100, reach * 2);
    this.controls = new OrbitControls(this.camera, canvas);
    this.controls.enableDamping = false;
    this.controls.maxDistance = reach * 0.6;
    this.controls.minDistance = size * 0.15;
    this.controls.maxPolarAngle = Math.PI * 0.52;
    this.controls.addEventListener('change', () => this.changed());

    this.sun.castShadow = true;
    this.sun.shadow.mapSize.set(2048, 2048);
    this.sun.shadow.radius = 5;
    this.sun.shadow.normalBias = size * 0.004;
    const half = size * 1.6;
    const box = this.sun.shadow.camera;
    box.left = box.bottom = -half;
    box.right = box.top = half;
    box.near = size * 0.5;
    box.far = size * 9;
    this.scene.add(this.sky, this.sun, this.sun.target);

    const plane = new PlaneGeometry(reach * 4, reach * 4).rotateX(-Math.PI / 2);
    this.ground = new Mesh(plane, new ShadowMaterial({ depthWrite: false }));
    this.ground.receiveShadow = true;
    this.ground.position.y = -size * 0.0006;
    this.cell = RoundStep(size * 0.35);
    this.grid = new Mesh(plane, GridMaterial(this.cell, 14 * size));
    this.grid.renderOrder = 1;
    this.scene.add(this.ground, this.grid);
    this.scene.fog = new Fog(0, 12 * size, 34 * size);

    this.resized = new ResizeObserver(() => this.Resize());
    this.resized.observe(canvas);
    this.Resize();
  }

  Dress(colours: Colours, isDark: boolean): void {
    this.scene.background = new Color(colours.background);
    this.scene.fog!.color = new Color(colours.background);
    this.ground.material.opacity = isDark ? 0.55 : 0.24;
    this.grid.material.uniforms.colour.value = new Color(colours.grid);
    this.sky.intensity = isDark ? 1.35 : 2.1;
    this.sky.groundColor.set(isDark ? '#3b4350' : '#b9bec6');
    this.sun.intensity = isDark ? 1.9 : 2.1;
  }

  /// Looks at where the figure stands, from one of the given sides.
  Look(view: View, at: Vector3, heading: number): void {
    const aim = at.clone();
    const around = { corner: heading - 0.9, side: heading - Math.PI / 2, front: heading, top: heading };
    const up = { corner: 0.27, side: 0.07, front: 0.1, top: Math.PI / 2 - 0.001 };
    const far = this.size * (view === 'top' ? 3.2 : 2.25);
    const angle = around[view];
    const flat = Math.cos(up[view]) * far;
    // Seen from above the figure walks to the right of the picture.
    const turn = view === 'top' ? angle - Math.PI / 2 : angle;
    this.camera.position.set(
      aim.x + Math.cos(turn) * flat,
      aim.y + Math.sin(up[view]) * far,
      aim.z - Math.sin(turn) * flat,
    );
    this.controls.target.copy(aim);
    this.followed.copy(aim);
    this.controls.update();
    this.changed();
  }

  /// Turns the camera about what it looks at, and moves it nearer.
  Orbit(turn: number, rise: number, nearer: number): void {
    const offset = this.camera.position.clone().sub(this.controls.target);
    let radius = offset.length() * nearer;
    radius = Math.min(Math.max(radius, this.controls.minDistance), this.controls.maxDistance);
    const polar = Math.acos(offset.y / offset.length()) - rise;
    const angle = Math.atan2(offset.z, offset.x) + turn;
    const down = Math.min(Math.max(polar, 0.01), this.controls.maxPolarAngle);
    this.camera.position
      .set(Math.sin(down) * Math.cos(angle), Math.cos(down), Math.sin(down) * Math.sin(angle))
      .multiplyScalar(radius)
      .add(this.controls.target);
    this.controls.update();
    this.changed();
  }

  /// The light goes with the figure; with `follow` the camera does too.
  Attend(place: Vector3, follow: boolean): void {
    if (follow) {
      const step = place.clone().sub(this.followed);
      this.camera.position.add(step);
      this.controls.target.add(step);
    }
    this.followed.copy(place);
    this.sun.target.position.copy(place);
    // In whole texels of the shadow, or its edge would crawl as the figure moves on.
    const texel = (this.size * 3.2) / 2048;
    for (const axis of ['x', 'y', 'z'] as const) {
      this.sun.target.position[axis] = Math.round(place[axis] / texel) * texel;
    }
    this.sun.position
      .set(0.55, 1, 0.5)
      .normalize()
      .multiplyScalar(this.size * 4.5)
      .add(this.sun.target.position);
    this.grid.material.uniforms.centre.value.copy(this.controls.target);
  }

  private Resize(): void {
    const { clientWidth, clientHeight } = this.canvas;
    if (clientWidth === 0 || clientHeight === 0) return;
    this.renderer.setSize(clientWidth, clientHeight, false);
    this.camera.aspect = clientWidth / clientHeight;
    this.camera.updateProjectionMatrix();
    this.changed();
  }

  Draw(): void {
    // Keeps what is small near by and what is far away apart in depth.
    const distance = this.camera.position.distanceTo(this.controls.target);
    this.camera.near = Math.max(distance * 0.02, this.size / 200);
    this.camera.updateProjectionMatrix();
    this.controls.update();
    this.renderer.render(this.scene, this.camera);
  }
}
