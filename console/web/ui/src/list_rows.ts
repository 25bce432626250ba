// The rows of a long list: fetched by the block, chosen by pointer and keys.

import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { useDraft } from './labelled';
import type { Listing, Row } from './state';
import { act, get } from './transport';

const block = 100;

export type Sort = '' | 'up' | 'down';

const text = (row: Row) => row.cells[0]?.toLowerCase() ?? '';
function sorted(rows: Row[], sort: Sort): Row[] {
  if (!sort) return rows;
  const sign = sort === 'up' ? 1 : -1;
  return [...rows].sort((a, b) => (text(a) < text(b) ? -sign : text(a) > text(b) ? sign : 0));
}

interface Rows {
  total: number;
  stamp: number;
  rows: Row[];
}

interface Cache {
  key: string;
  total: number;
  blocks: Map<number, Row[]>;
}

export interface ListProps {
  control: Listing;
  index: number;
  window: number;
  label: string;
}

/** The rows that the filter leaves, by position; fetches what is not there yet. */
export function useRows({ control, index, window }: ListProps, filter: string, sort: Sort = '') {
  const [, redraw] = useState(0);
  const cache = useRef<Cache>({ key: '', total: 0, blocks: new Map() });
  const loading = useRef(new Map<string, Promise<void>>());
  const key = `${window}/${index}/${control.stamp}/${filter}/${sort}`;
  const inline = control.rows && (!filter || control.rows.length <= block);
  if (inline) {
    const needle = filter.toLowerCase();
    const rows = sorted(control.rows!.filter((row) => !needle || row.cells.some((cell) => cell.toLowerCase().includes(needle))), sort);
    cache.current = { key, total: rows.length, blocks: new Map([[0, rows]]) };
  }

  function load(number: number): Promise<void> {
    const id = `${key}#${number}`;
    if (inline) return Promise.resolve();
    let loaded = loading.current.get(id);
    if (!loaded) {
      loaded = fetchBlock(number).finally(() => loading.current.delete(id));
      loading.current.set(id, loaded);
    }
    return loaded;
  }

  async function fetchBlock(number: number): Promise<void> {
    const rows = await get<Rows>('/api/rows', { window, control: index, first: number * block, count: block, filter, sort });
    if (!rows?.rows) return;
    // Rows that are shown stay until those of the new filter or stamp have come.
    if (cache.current.key !== key) cache.current = { key, total: rows.total, blocks: new Map() };
    cache.current.total = rows.total;
    cache.current.blocks.set(number, rows.rows);
    redraw((n) => n + 1);
  }

  return {
    total: cache.current.key ? cache.current.total : (control.count ?? 0),
    fresh: cache.current.key === key,
    at: (position: number): Row | undefined =>
      cache.current.blocks.get(Math.floor(position / block))?.[position % block],
    /** Where the row of that number in the whole list is; -1 where it is not among those that have come. */
    positionOf(number: number): number {
      if (cache.current.key === key && !filter && !sort) return number;
      for (const [at, rows] of cache.current.blocks) {
        const place = rows.findIndex((row) => row.row === number);
        if (place >= 0) return at * block + place;
      }
      return -1;
    },
    async need(from: number, to: number) {
      for (let number = Math.floor(from / block); number <= Math.floor(to / block); ++number) {
        if (cache.current.key !== key || !cache.current.blocks.has(number)) await load(number);
      }
    },
  };
}

type Held = Pick<MouseEvent, 'ctrlKey' | 'metaKey' | 'shiftKey'>;

// A list's selection is one row, which the rows that were fetched before do not know.
export const isSelected = (control: Listing, row: Row | undefined) =>
  row !== undefined && (control.kind === 'list' ? control.selected === row.row : row.selected);

const noTicks: ReadonlyMap<number, boolean> = new Map();

/** The row that keys start from, and what a person does to rows. */
export function useChoice(props: ListProps, rows: ReturnType<typeof useRows>, filter: string, bring: (position: number) => void) {
  const { control, index, window } = props;
  const [active, setActive] = useState(-1);
  const anchor = useRef(-1);
  const asked = useRef(0);
  const at = { window, control: index };
  const ticks = useDraft(noTicks);
  const isChecked = (row: Row | undefined) => row !== undefined && (ticks.shown.get(row.row) ?? row.checked ?? false);
  useEffect(() => setActive(-1), [filter]);
  // The selection that code made is where keys go on from; a person's own may be on its way still.
  useLayoutEffect(() => {
    if (control.selected === undefined || control.selected < 0 || filter || asked.current > 0) return;
    setActive(control.selected);
    bring(control.selected);
  }, [control.selected]);

  async function select(position: number, held: Held) {
    await rows.need(position, position);
    const row = rows.at(position);
    if (!row) return;
    if (control.multiple && held.shiftKey && anchor.current >= 0) {
      await act({ ...at, act: 'range', row: anchor.current, to: row.row, filter });
      return;
    }
    anchor.current = row.row;
    if (control.multiple && (held.ctrlKey || held.metaKey)) {
      await act({ ...at, act: 'select', row: row.row, on: !isSelected(control, row) });
    } else {
      await act({ ...at, act: 'only', row: row.row });
    }
  }

  return {
    active,
    isChecked,
    async choose(position: number, held: Held) {
      setActive(position);
      bring(position);
      ++asked.current;
      await select(position, held);
      --asked.current;
    },
    check(position: number) {
      setActive(position);
      const row = rows.at(position);
      if (!row) return;
      const on = !isChecked(row);
      void ticks.change(new Map(ticks.shown).set(row.row, on), () => act({ ...at, act: 'check', row: row.row, on }));
    },
    open(position: number) {
      const row = rows.at(position);
      if (row) void act({ ...at, act: 'open', row: row.row });
    },
  };
}
