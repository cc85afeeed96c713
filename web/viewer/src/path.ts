// The path of the centre of mass: what lies behind is strong, what comes is pale, flights have the
// colour that they have on the time line. A marker shows where it is now, a stem how high.
import {
  BufferGeometry,
  Color,
  Group,
  Line,
  LineBasicMaterial,
  Mesh,
  MeshBasicMaterial,
  Scene,
  SphereGeometry,
  Vector3,
} from 'three';
import { Line2 } from 'three/addons/lines/Line2.js';
import { LineGeometry } from 'three/addons/lines/LineGeometry.js';
import { LineMaterial } from 'three/addons/lines/LineMaterial.js';
import type { Colours } from './colours';
import { FrameAt, type Motion } from './motion';

export class Path {
  readonly group = new Group();
  private readonly whole: Line2;
  private readonly past: Line2;
  private readonly marker: Mesh<SphereGeometry, MeshBasicMaterial>;
  private readonly stem: Line<BufferGeometry, LineBasicMaterial>;

  constructor(
    scene: Scene,
    private readonly motion: Motion,
  ) {
    const line = (width: number, opacity: number) => {
      const material = new LineMaterial({
        linewidth: width,
        vertexColors: true,
        transparent: true,
        depthWrite: false, // the two lie in one place
        opacity,
      });
      const made = new Line2(new LineGeometry(), material);
      made.frustumCulled = false;
      made.renderOrder = 2;
      this.group.add(made);
      return made;
    };
    this.whole = line(1.5, 0.45);
    this.past = line(3, 1);
    this.marker = new Mesh(
      new SphereGeometry(motion.height * 0.013, 20, 14),
      new MeshBasicMaterial({ depthTest: false, transparent: true }),
    );
    this.marker.renderOrder = 4;
    this.stem = new Line(
      new BufferGeometry().setFromPoints([new Vector3(), new Vector3(0, -1, 0)]),
      new LineBasicMaterial({ transparent: true, opacity: 0.5 }),
    );
    this.group.add(this.marker, this.stem);
    scene.add(this.group);
  }

  Dress(colours: Colours): void {
    const { roots, times, flights } = this.motion;
    const ground = new Color(colours.path);
    const flying = new Color(colours.flight);
    const shades: number[] = [];
    let flight = 0;
    for (const time of times) {
      while (flight < flights.length && flights[flight].end < time) ++flight;
      const inAir = flight < flights.length && flights[flight].start <= time;
      const shade = inAir ? flying : ground;
      shades.push(shade.r, shade.g, shade.b);
    }
    for (const line of [this.whole, this.past]) {
      line.visible = times.length > 1;
      if (!line.visible) continue;
      line.geometry.setPositions(Array.from(roots));
      line.geometry.setColors(shades);
    }
    this.marker.material.color = new Color(colours.path);
    this.stem.material.color = new Color(colours.path);
  }

  Move(time: number, root: Vector3): void {
    const frame = FrameAt(this.motion, time);
    if (this.motion.times.length > 1) {
      this.past.visible = frame > 0;
      this.past.geometry.instanceCount = frame;
    }
    this.marker.position.copy(root);
    this.stem.position.copy(root);
    this.stem.scale.y = Math.max(root.y, 1e-6);
  }
}
