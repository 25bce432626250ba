// The tree of nodes. Folders open lazily and are drawn by the window that is scrolled to, so one with a
// hundred thousand principals opens like one with three.

import { useEffect, useReducer, useRef, useState } from 'preact/hooks';
import { act, get, type State } from './api';

const rowHeight = 32;
const block = 200;

interface Node {
  path: string;
  label: string;
  page: boolean;
  children: number;
}

interface Folder {
  total: number;
  blocks: Map<number, Node[]>;
  open: Map<number, string>; // place to path, of the children that are open
}

interface Place {
  node: Node | undefined;
  folder: string;
  position: number;
  depth: number;
}

export function TreeView({ state, root, onChosen }: { state: State; root: string; onChosen: () => void }) {
  const [, redraw] = useReducer((n: number) => n + 1, 0);
  const folders = useRef(new Map<string, Folder>());
  const loading = useRef(new Set<string>());
  const box = useRef<HTMLDivElement>(null);
  const [view, setView] = useState({ top: 0, height: 600 });
  const [active, setActive] = useState(-1);
  const revealed = useRef('');
  const version = `${state.instance}/${state.tree}`;
  const loaded = useRef('');
  if (loaded.current !== version) {
    // Nodes came or went: everything that is open is asked for again, and stays drawn meanwhile.
    loaded.current = version;
    for (const [path, folder] of folders.current) void load(path, 0, folder);
  }

  async function load(path: string, number: number, stale?: Folder): Promise<void> {
    const id = `${version} ${path} ${number}`;
    if (loading.current.has(id)) return;
    loading.current.add(id);
    const answer = await get<{ total: number; nodes: Node[] }>('/api/tree', { node: path, first: number * block, count: block });
    loading.current.delete(id);
    if (!answer) return;
    let folder = folders.current.get(path);
    if (!folder || folder === stale) {
      folder = { total: answer.total, blocks: new Map(), open: new Map() };
      for (const [, open] of stale?.open ?? []) {
        const place = answer.nodes.findIndex((node) => node.path === open);
        if (place >= 0) folder.open.set(number * block + place, open);
      }
      folders.current.set(path, folder);
    }
    folder.total = answer.total;
    folder.blocks.set(number, answer.nodes);
    // The way to the node that is shown is open.
    answer.nodes.forEach((node, place) => {
      if (node.children && state.node.startsWith(`${node.path}::`)) void open(path, number * block + place, node.path);
      if (node.children && node.children < 20 && path === root && !stale && !folders.current.has(node.path)) {
        void open(path, number * block + place, node.path);
      }
    });
    redraw(0);
  }

  async function open(parent: string, position: number, path: string) {
    folders.current.get(parent)?.open.set(position, path);
    if (!folders.current.has(path)) await load(path, 0);
    redraw(0);
  }

  function close(parent: string, position: number) {
    folders.current.get(parent)?.open.delete(position);
    redraw(0);
  }

  function size(path: string): number {
    const folder = folders.current.get(path);
    if (!folder) return 0;
    let rows = folder.total;
    for (const child of folder.open.values()) rows += size(child);
    return rows;
  }

  /** The rows from one to another, as they stand below each other. */
  function collect(path: string, depth: number, from: number, to: number, out: Place[]) {
    const folder = folders.current.get(path);
    if (!folder) return;
    const opened = [...folder.open.keys()].sort((a, b) => a - b);
    let row = 0;
    let position = 0;
    const plain = (until: number) => {
      const begin = position + Math.max(0, from - row);
      for (let at = begin; at < until && row + at - position < to; ++at) {
        const node = folder.blocks.get(Math.floor(at / block))?.[at % block];
        if (!node) void load(path, Math.floor(at / block));
        out.push({ node, folder: path, position: at, depth });
      }
      row += until - position;
      position = until;
    };
    for (const place of opened) {
      if (place >= folder.total) break;
      plain(place + 1);
      const child = folder.open.get(place)!;
      const rows = size(child);
      if (row < to && row + rows > from) collect(child, depth + 1, Math.max(0, from - row), to - row, out);
      row += rows;
    }
    plain(folder.total);
  }

  const total = size(root);
  const first = Math.max(0, Math.floor(view.top / rowHeight) - 10);
  const places: Place[] = [];
  collect(root, 0, first, Math.min(total, Math.ceil((view.top + view.height) / rowHeight) + 10), places);

  useEffect(() => {
    if (!folders.current.has(root)) void load(root, 0);
  }, [root]);
  useEffect(() => {
    const element = box.current;
    if (!element) return;
    const watch = new ResizeObserver(() => setView((now) => ({ ...now, height: element.clientHeight })));
    watch.observe(element);
    return () => watch.disconnect();
  }, []);
  // A node that came from elsewhere, a link or the search, is brought into sight.
  useEffect(() => {
    const all: Place[] = [];
    if (total < 5000) collect(root, 0, 0, total, all);
    const row = all.findIndex((place) => place.node?.path === state.node);
    if (row < 0 || revealed.current === state.node) {
      for (const [path, folder] of folders.current) {
        for (const [number, nodes] of folder.blocks) {
          nodes.forEach((node, place) => {
            const position = number * block + place;
            if (revealed.current !== state.node && node.children && state.node.startsWith(`${node.path}::`) && !folder.open.has(position)) {
              void open(path, position, node.path);
            }
          });
        }
      }
      if (row < 0) return;
    }
    if (revealed.current === state.node) return;
    revealed.current = state.node;
    setActive(row);
    reveal(row);
  });

  function reveal(row: number) {
    const element = box.current;
    if (!element) return;
    const y = row * rowHeight;
    if (y < element.scrollTop) element.scrollTop = y;
    else if (y + rowHeight > element.scrollTop + element.clientHeight) element.scrollTop = y + rowHeight - element.clientHeight;
  }

  function at(row: number): Place | undefined {
    const out: Place[] = [];
    collect(root, 0, row, row + 1, out);
    return out[0];
  }

  function go(row: number) {
    if (row < 0 || row >= total) return;
    setActive(row);
    reveal(row);
    const node = at(row)?.node;
    if (node?.page && node.path !== state.node) {
      revealed.current = node.path;
      void act({ act: 'node', text: node.path });
    }
  }

  function toggle(place: Place) {
    if (!place.node?.children) return;
    if (folders.current.get(place.folder)?.open.has(place.position)) close(place.folder, place.position);
    else void open(place.folder, place.position, place.node.path);
  }

  const isOpen = (place: Place) => folders.current.get(place.folder)?.open.has(place.position) ?? false;

  function onKey(event: KeyboardEvent) {
    const page = Math.max(1, Math.floor(view.height / rowHeight) - 1);
    const steps: Record<string, number> = {
      ArrowDown: active + 1,
      ArrowUp: active - 1,
      PageDown: Math.min(total - 1, active + page),
      PageUp: Math.max(0, active - page),
      Home: 0,
      End: total - 1,
    };
    const step = steps[event.key];
    const place = at(active);
    if (step !== undefined) go(step);
    else if (event.key === 'ArrowRight' && place) {
      if (isOpen(place)) go(active + 1);
      else toggle(place);
    } else if (event.key === 'ArrowLeft' && place) {
      if (isOpen(place)) toggle(place);
      else if (place.depth > 0) {
        let row = active;
        while (row > 0 && (at(row)?.depth ?? 0) >= place.depth) --row;
        go(row);
      }
    } else if ((event.key === 'Enter' || event.key === ' ') && place) {
      if (place.node?.page) onChosen();
      else toggle(place);
    } else return;
    event.preventDefault();
  }

  const marks = new Set(state.marks);
  const holds = (path: string) => state.marks.some((mark) => mark.startsWith(`${path}::`));
  return (
    <div
      class="tree"
      role="tree"
      aria-label="Settings"
      tabIndex={0}
      ref={box}
      aria-activedescendant={active >= first && active < first + places.length ? `t${active}` : undefined}
      onScroll={(event) => setView({ top: event.currentTarget.scrollTop, height: event.currentTarget.clientHeight })}
      onKeyDown={onKey}
    >
      <div class="rows" role="presentation" style={{ height: `${total * rowHeight}px` }}>
        {places.map((place, i) => {
          const row = first + i;
          const { node } = place;
          const opened = isOpen(place);
          const waits = node && (marks.has(node.path) || (!opened && holds(node.path)));
          return (
            <div
              key={row}
              id={`t${row}`}
              role="treeitem"
              aria-level={place.depth + 1}
              aria-expanded={node?.children ? opened : undefined}
              aria-selected={node?.path === state.node}
              class={'row' + (node?.path === state.node ? ' selected' : '') + (row === active ? ' active' : '')}
              style={{ transform: `translateY(${row * rowHeight}px)`, paddingLeft: `${place.depth * 18 + 8}px` }}
              onClick={() => {
                go(row);
                if (node?.page) onChosen();
                else toggle(place);
              }}
              onDblClick={() => node?.page && toggle(place)}
            >
              <span
                class={'twist' + (node?.children ? (opened ? ' open' : '') : ' none')}
                aria-hidden="true"
                onClick={(event) => {
                  event.stopPropagation();
                  toggle(place);
                }}
              >
                <svg viewBox="0 0 8 8">
                  <path d="M2.5 1l3 3-3 3" />
                </svg>
              </span>
              <span class="name">{node?.label ?? '…'}</span>
              {node && node.children > 20 && <span class="dim many">{node.children.toLocaleString('en')}</span>}
              {waits && <span class="mark" title="Edits wait for Apply" role="img" aria-label="edits wait" />}
            </div>
          );
        })}
      </div>
    </div>
  );
}
