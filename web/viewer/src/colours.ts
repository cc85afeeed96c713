// One palette for the scene, the time line and the style sheet: what is left is blue and what is
// right orange wherever it stands.
export interface Colours {
  background: string;
  grid: string;
  text: string;
  muted: string;
  faint: string;
  panel: string;
  left: string;
  right: string;
  flight: string;
  path: string;
  key: string;
  now: string;
  body: string;
}

export const kLight: Colours = {
  background: '#eef1f5',
  grid: '#8b97a8',
  text: '#17202e',
  muted: '#4d5a6d',
  faint: '#d3dae4',
  panel: '#ffffff',
  left: '#1f6fd6',
  right: '#c2500a',
  flight: '#7a4fc4',
  path: '#16806a',
  key: '#5c6a7f',
  now: '#d1224b',
  body: '#c9cfd8',
};

export const kDark: Colours = {
  background: '#151a22',
  grid: '#6f7d92',
  text: '#eef2f7',
  muted: '#a9b5c6',
  faint: '#313b4a',
  panel: '#1c2330',
  left: '#5ea5ff',
  right: '#ff9a4d',
  flight: '#b79aff',
  path: '#48d1ae',
  key: '#93a1b6',
  now: '#ff5f7f',
  body: '#aeb7c4',
};

export const SideColour = (colours: Colours, side: number) =>
  side === 1 ? colours.left : side === 0 ? colours.right : colours.body;

/// Hands the palette to the style sheet.
export function ApplyColours(colours: Colours): void {
  for (const [name, value] of Object.entries(colours)) {
    document.documentElement.style.setProperty(`--${name}`, value);
  }
}
