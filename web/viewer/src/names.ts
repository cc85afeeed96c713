// Names of the links beside their joints; where names would cover each other, the one nearer to
// the camera stays.
import { Vector3, type PerspectiveCamera } from 'three';
import type { Motion, Pose } from './motion';

interface Label {
  link: number;
  element: HTMLElement;
  width: number;
  height: number;
  shown: boolean;
}

export class Names {
  visible = false;
  private readonly labels: Label[];
  private measured = false;

  constructor(
    private readonly host: HTMLElement,
    motion: Motion,
  ) {
    const prefix = `${motion.name}_`;
    this.labels = motion.links.map((link, i) => {
      const element = document.createElement('span');
      const name = link.name.startsWith(prefix) ? link.name.slice(prefix.length) : link.name;
      element.textContent = name;
      element.dataset.side = String(link.side);
      return { link: i, element, width: 0, height: 0, shown: false };
    });
  }

  Show(visible: boolean): void {
    this.visible = visible;
    this.host.hidden = !visible;
    if (visible && !this.measured) {
      this.measured = true;
      this.host.append(...this.labels.map((label) => label.element));
      for (const label of this.labels) {
        label.width = label.element.offsetWidth;
        label.height = label.element.offsetHeight;
        label.element.style.visibility = 'hidden';
      }
    }
  }

  Move(pose: Pose, camera: PerspectiveCamera): void {
    if (!this.visible) return;
    const { clientWidth, clientHeight } = this.host;
    camera.updateMatrixWorld();
    const seen = this.labels.map((label) => {
      const at = new Vector3().copy(pose.places[label.link]).project(camera);
      return { label, x: ((at.x + 1) / 2) * clientWidth, y: ((1 - at.y) / 2) * clientHeight, z: at.z };
    });
    seen.sort((a, b) => a.z - b.z);
    const taken: { x: number; y: number; right: number; bottom: number }[] = [];
    for (const { label, x, y, z } of seen) {
      const left = x + 9;
      const top = y - label.height / 2;
      const box = { x: left, y: top, right: left + label.width, bottom: top + label.height };
      const free =
        Math.abs(z) < 1 &&
        !taken.some(
          (t) => t.x < box.right && box.x < t.right && t.y < box.bottom && box.y < t.bottom,
        );
      if (free) {
        taken.push(box);
        label.element.style.transform = `translate(${left.toFixed(1)}px, ${top.toFixed(1)}px)`;
      }
      if (free !== label.shown) {
        label.shown = free;
        label.element.style.visibility = free ? 'visible' : 'hidden';
      }
    }
  }
}
