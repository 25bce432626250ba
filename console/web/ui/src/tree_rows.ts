// The rows of a tree, as its open folders stand below each other. What has not been fetched yet has a row too.

export const block = 200;

export interface Node {
  path: string;
  label: string;
  page: boolean;
  children: number;
}

export interface Folder {
  total: number;
  blocks: Map<number, Node[]>;
  open: Map<number, string>; // place to path, of the children that are open
}

export type Folders = Map<string, Folder>;

export interface Place {
  node: Node | undefined;
  folder: string;
  position: number;
  depth: number;
}

export function rowCount(folders: Folders, path: string): number {
  const folder = folders.get(path);
  if (!folder) return 0;
  let rows = folder.total;
  // One that was open may have gone since.
  for (const [place, child] of folder.open) if (place < folder.total) rows += rowCount(folders, child);
  return rows;
}

export const nodeAt = (folder: Folder, position: number) => folder.blocks.get(Math.floor(position / block))?.[position % block];

/** Where in the folder the node stands, or the one that it lies below; -1 while that is not known. */
export function positionOf(folder: Folder | undefined, path: string): number {
  for (const [number, nodes] of folder?.blocks ?? []) {
    const place = nodes.findIndex((node) => node.path === path || (node.children > 0 && path.startsWith(`${node.path}::`)));
    if (place >= 0) return number * block + place;
  }
  return -1;
}

/** The row of the node below the folder; -1 if it is not known or a folder on the way is closed. */
export function rowOf(folders: Folders, path: string, wanted: string): number {
  const folder = folders.get(path);
  const position = positionOf(folder, wanted);
  if (!folder || position < 0) return -1;
  const node = nodeAt(folder, position)!;
  let row = position;
  for (const [place, child] of folder.open) if (place < position) row += rowCount(folders, child);
  if (node.path === wanted) return row;
  const below = folder.open.has(position) ? rowOf(folders, node.path, wanted) : -1;
  return below < 0 ? -1 : row + 1 + below;
}

/** The places in the rows `from` to `to` below the folder. */
export function placesOf(folders: Folders, path: string, from: number, to: number, depth = 0, out: Place[] = []): Place[] {
  const folder = folders.get(path);
  if (!folder) return out;
  let row = 0;
  let position = 0;
  const add = (until: number) => {
    for (let at = position + Math.max(0, from - row); at < until && row + at - position < to; ++at) {
      out.push({ node: nodeAt(folder, at), folder: path, position: at, depth });
    }
    row += until - position;
    position = until;
  };
  for (const place of [...folder.open.keys()].sort((a, b) => a - b)) {
    if (place >= folder.total) break;
    add(place + 1);
    const child = folder.open.get(place)!;
    const rows = rowCount(folders, child);
    if (row < to && row + rows > from) placesOf(folders, child, Math.max(0, from - row), to - row, depth + 1, out);
    row += rows;
  }
  add(folder.total);
  return out;
}
