// The tree of nodes. Folders open lazily and are drawn by the window that is scrolled to, so one with a
// hundred thousand principals opens like one with three.

import { useEffect, useReducer, useRef, useState } from 'preact/hooks';
import { shownName } from './names';
import type { State } from './state';
import { act, get } from './transport';
import { reveal, rowHeight, stepOf } from './rows';
import { block, nodeAt, placesOf, positionOf, rowCount, rowOf, type Folder, type Folders, type Node, type Place } from './tree_rows';

/** Folders with fewer children are open at first. */
const fewChildren = 20;

/** The folders that were opened, and what opens, closes and fetches them. */
function useFolders(version: string, root: string) {
  const [, redraw] = useReducer((n: number) => n + 1, 0);
  const folders = useRef<Folders>(new Map()).current;
  const loading = useRef(new Map<string, Promise<void>>()).current;
  const loaded = useRef('');
  if (loaded.current !== version) {
    // Nodes came or went: everything that is open is asked for again, and stays drawn meanwhile.
    loaded.current = version;
    for (const [path, folder] of folders) void load(path, { first: 0 }, folder);
  }
  useEffect(() => {
    if (!folders.has(root)) void load(root, { first: 0 });
  }, [root]);

  /** Fetches the block that begins with a child, or that holds the way to a node. */
  function load(path: string, from: { first: number } | { to: string }, stale?: Folder): Promise<void> {
    const id = JSON.stringify([version, path, from]);
    const under = loading.get(id) ?? fetchBlock(path, from, stale).finally(() => loading.delete(id));
    loading.set(id, under);
    return under;
  }

  async function fetchBlock(path: string, from: { first: number } | { to: string }, stale?: Folder): Promise<void> {
    const answer = await get<{ total: number; first: number; nodes: Node[] }>('/api/tree', { node: path, ...from, count: block });
    if (!answer) return;
    let folder = folders.get(path);
    const isNew = !folder || folder === stale;
    if (!folder || folder === stale) {
      folder = { total: 0, blocks: new Map(), open: new Map() };
      folders.set(path, folder);
    }
    folder.total = answer.total;
    folder.blocks.set(answer.first / block, answer.nodes);
    if (isNew && stale) await reopen(path, folder, stale);
    if (isNew && !stale && path === root) {
      answer.nodes.forEach((node, place) => {
        if (node.children && node.children < fewChildren) void open(path, place, node.path);
      });
    }
    redraw(0);
  }

  /** What was open in the folder before is open again, wherever it stands now. */
  async function reopen(path: string, folder: Folder, before: Folder) {
    for (const child of before.open.values()) {
      const position = await find(path, child);
      if (position >= 0) folder.open.set(position, child);
    }
  }

  async function find(path: string, wanted: string): Promise<number> {
    if (positionOf(folders.get(path), wanted) < 0) await load(path, { to: wanted });
    return positionOf(folders.get(path), wanted);
  }

  async function open(parent: string, position: number, path: string) {
    folders.get(parent)?.open.set(position, path);
    if (!folders.has(path)) await load(path, { first: 0 });
    redraw(0);
  }

  function toggle({ node, folder, position }: Place) {
    const opened = folders.get(folder)?.open;
    if (!node?.children || !opened) return;
    if (!opened.has(position)) return void open(folder, position, node.path);
    opened.delete(position);
    redraw(0);
  }

  /** Opens the folders on the way to the node. */
  async function openTo(wanted: string) {
    for (let path = root; path !== wanted; ) {
      const position = await find(path, wanted);
      const node = position < 0 ? undefined : nodeAt(folders.get(path)!, position);
      if (!node || node.path === wanted) break;
      await open(path, position, node.path);
      path = node.path;
    }
    redraw(0);
  }

  return {
    folders,
    redraw,
    toggle,
    openTo,
    isOpen: (place: Place) => folders.get(place.folder)?.open.has(place.position) ?? false,
    async need(places: Place[]) {
      const missing = places.filter((place) => !place.node);
      await Promise.all(missing.map(({ folder, position }) => load(folder, { first: Math.floor(position / block) * block })));
    },
  };
}

/** The node that came from elsewhere, a link or the search, is brought into sight once. */
function useInSight(wanted: string, version: string, rowOfIt: () => number, openTo: (node: string) => Promise<void>, bring: (row: number, path: string) => void) {
  const shown = useRef('');
  const sought = useRef('');
  const asked = useRef(0);
  const [, redraw] = useReducer((n: number) => n + 1, 0);
  useEffect(() => {
    // While the person's own choices are on their way, the rows stay where the person has come.
    if (shown.current === wanted || asked.current > 0) return;
    const row = rowOfIt();
    if (row >= 0) {
      shown.current = wanted;
      bring(row, wanted);
    } else if (sought.current !== `${version} ${wanted}`) {
      sought.current = `${version} ${wanted}`;
      void openTo(wanted);
    }
  });
  return async (node: string) => {
    ++asked.current;
    const refusal = await act({ act: 'node', text: node });
    --asked.current;
    // A node that can't be shown gives its place back to the one that is.
    shown.current = refusal ? '' : node;
    redraw(0);
  };
}

interface RowProps {
  place: Place;
  row: number;
  active: boolean;
  selected: boolean;
  opened: boolean;
  waits: boolean;
  onClick: () => void;
  onToggle: () => void;
}

function TreeRow({ place, row, active, selected, opened, waits, onClick, onToggle }: RowProps) {
  const { node, depth } = place;
  return (
    <div
      id={`t${row}`}
      role="treeitem"
      aria-level={depth + 1}
      aria-expanded={node?.children ? opened : undefined}
      aria-selected={selected}
      class={'row' + (selected ? ' selected' : '') + (active ? ' active' : '')}
      style={{ transform: `translateY(${row * rowHeight}px)`, paddingLeft: `${depth * 18 + 8}px` }}
      onClick={onClick}
      onDblClick={() => node?.page && onToggle()}
    >
      <span
        class={'twist' + (node?.children ? (opened ? ' open' : '') : ' none')}
        aria-hidden="true"
        onClick={(event) => {
          event.stopPropagation();
          onToggle();
        }}
      >
        <svg viewBox="0 0 8 8">
          <path d="M2.5 1l3 3-3 3" />
        </svg>
      </span>
      <span class="name" title={node?.label}>
        {node ? shownName(node.label) : '…'}
      </span>
      {node && node.children > fewChildren && <span class="dim many">{node.children.toLocaleString('en')}</span>}
      {waits && <span class="mark" title="Edits wait for Apply" role="img" aria-label="edits wait" />}
    </div>
  );
}

export function TreeView({ state, root, onChosen }: { state: State; root: string; onChosen: () => void }) {
  const version = `${state.instance}/${state.tree}`;
  const { folders, toggle, openTo, isOpen, need } = useFolders(version, root);
  const box = useRef<HTMLDivElement>(null);
  const [view, setView] = useState({ top: 0, height: 600 });
  const [chosen, setChosen] = useState({ row: -1, path: '' });
  const keys = useRef(0);
  const total = rowCount(folders, root);
  // Rows move when folders above them open and nodes come and go; the node stays the active one.
  const found = chosen.path ? rowOf(folders, root, chosen.path) : -1;
  const active = found < 0 ? Math.min(chosen.row, total - 1) : found;
  const first = Math.max(0, Math.floor(view.top / rowHeight) - 10);
  const places = placesOf(folders, root, first, Math.min(total, Math.ceil((view.top + view.height) / rowHeight) + 10));
  void need(places);

  useEffect(() => {
    const element = box.current!;
    const watch = new ResizeObserver(() => setView((now) => ({ ...now, height: element.clientHeight })));
    watch.observe(element);
    return () => watch.disconnect();
  }, []);
  function moveTo(row: number, path = '') {
    setChosen({ row, path });
    reveal(box.current, row);
  }
  const show = useInSight(state.node, version, () => rowOf(folders, root, state.node), openTo, moveTo);
  const at = (row: number): Place | undefined => placesOf(folders, root, row, row + 1)[0];

  async function go(row: number) {
    const key = ++keys.current;
    moveTo(row, at(row)?.node?.path);
    await need([at(row)!]);
    const node = at(row)?.node;
    if (!node || key !== keys.current) return;
    moveTo(row, node.path);
    if (node.page) void show(node.path);
  }

  function goUp(place: Place) {
    let row = active;
    while (row > 0 && (at(row)?.depth ?? 0) >= place.depth) --row;
    void go(row);
  }

  function onKey(event: KeyboardEvent) {
    const step = stepOf(event.key, active, total, Math.floor(view.height / rowHeight));
    const place = at(active);
    if (step !== undefined) void go(step);
    else if (!place) return;
    else if (event.key === 'ArrowRight' && isOpen(place)) void go(active + 1);
    else if (event.key === 'ArrowRight') toggle(place);
    else if (event.key === 'ArrowLeft' && isOpen(place)) toggle(place);
    else if (event.key === 'ArrowLeft') place.depth > 0 && goUp(place);
    else if (event.key !== 'Enter' && event.key !== ' ') return;
    else if (place.node?.page) onChosen();
    else toggle(place);
    event.preventDefault();
  }

  const waits = (path: string, opened: boolean) =>
    state.marks.some((mark) => mark === path || (!opened && mark.startsWith(`${path}::`)));
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
        {places.map((place, i) => (
          <TreeRow
            key={first + i}
            place={place}
            row={first + i}
            active={first + i === active}
            selected={place.node?.path === state.node}
            opened={isOpen(place)}
            waits={place.node !== undefined && waits(place.node.path, isOpen(place))}
            onToggle={() => toggle(place)}
            onClick={() => {
              void go(first + i);
              if (place.node?.page) onChosen();
              else toggle(place);
            }}
          />
        ))}
      </div>
    </div>
  );
}
