// Lists and tables of any length: rows are fetched and drawn by the window that is scrolled to.

import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { act, get, type Control, type Row } from './api';

const rowHeight = 32;
const block = 100;
const mostVisible = 12;

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

/** The rows that the filter leaves, by position; fetches what is not there yet. */
function useRows(control: Control, index: number, window: number, filter: string) {
  const [, redraw] = useState(0);
  const cache = useRef<Cache>({ key: '', total: 0, blocks: new Map() });
  const loading = useRef(new Map<string, Promise<void>>());
  const key = `${window}/${index}/${control.stamp}/${filter}`;
  const inline = control.rows && (!filter || control.rows.length <= block);
  if (inline) {
    const needle = filter.toLowerCase();
    const rows = control.rows!.filter((row) => !needle || row.cells.some((cell) => cell.toLowerCase().includes(needle)));
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
    const rows = await get<Rows>('/api/rows', { window, control: index, first: number * block, count: block, filter });
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
    async need(from: number, to: number) {
      for (let number = Math.floor(from / block); number <= Math.floor(to / block); ++number) {
        if (cache.current.key !== key || !cache.current.blocks.has(number)) await load(number);
      }
    },
  };
}

export function List({ control, index, window, label }: { control: Control; index: number; window: number; label: string }) {
  const [filter, setFilter] = useState('');
  const [wanted, setWanted] = useState('');
  const [top, setTop] = useState(0);
  const [active, setActive] = useState(-1);
  const anchor = useRef(-1);
  const box = useRef<HTMLDivElement>(null);
  const rows = useRows(control, index, window, filter);
  const columns = control.columns ?? [];
  // A list's selection is one row, which the rows that were fetched before do not know.
  const isSelected = (row: Row | undefined) =>
    row !== undefined && (control.kind === 'list' ? control.selected === row.row : row.selected);
  const isTable = columns.length > 1;
  const total = rows.total;
  const height = Math.max(3, Math.min(total, mostVisible)) * rowHeight;
  const first = Math.max(0, Math.min(Math.floor(top / rowHeight) - 8, total - 1));
  const last = Math.min(total - 1, Math.ceil((top + height) / rowHeight) + 8);
  const id = `w${window}c${index}`;

  useEffect(() => {
    const timer = setTimeout(() => setFilter(wanted), 60);
    return () => clearTimeout(timer);
  }, [wanted]);
  useEffect(() => {
    void rows.need(first, Math.max(first, last));
  }, [control.stamp, filter, first, last, window, index]);
  useEffect(() => setActive(-1), [filter]);
  // The selection that code made is brought into sight once.
  useLayoutEffect(() => {
    if (control.selected !== undefined && control.selected >= 0 && active < 0 && !filter) {
      setActive(control.selected);
      reveal(control.selected);
    }
  }, [control.selected]);

  function reveal(position: number) {
    const element = box.current;
    if (!element) return;
    const y = position * rowHeight;
    if (y < element.scrollTop) element.scrollTop = y;
    else if (y + rowHeight > element.scrollTop + element.clientHeight) element.scrollTop = y + rowHeight - element.clientHeight;
  }

  async function choose(position: number, event: { ctrlKey: boolean; metaKey: boolean; shiftKey: boolean }) {
    setActive(position);
    reveal(position);
    await rows.need(position, position);
    const row = rows.at(position);
    if (!row) return;
    const at = { window, control: index };
    if (control.multiple && event.shiftKey && anchor.current >= 0) {
      await act({ ...at, act: 'range', row: anchor.current, to: row.row, filter });
      return;
    }
    anchor.current = row.row;
    if (control.multiple && (event.ctrlKey || event.metaKey)) {
      await act({ ...at, act: 'select', row: row.row, on: !isSelected(row) });
    } else {
      await act({ ...at, act: 'only', row: row.row });
    }
  }

  function check(row: Row | undefined) {
    if (row) void act({ act: 'check', window, control: index, row: row.row, on: !row.checked });
  }

  function onKey(event: KeyboardEvent) {
    const page = Math.floor(height / rowHeight) - 1;
    const steps: Record<string, number> = {
      ArrowDown: active + 1,
      ArrowUp: active - 1,
      PageDown: active + page,
      PageUp: active - page,
      Home: 0,
      End: total - 1,
    };
    const step = steps[event.key];
    if (step !== undefined && total > 0) {
      event.preventDefault();
      void choose(Math.max(0, Math.min(total - 1, step)), event);
    } else if (event.key === ' ' && active >= 0) {
      event.preventDefault();
      const row = rows.at(active);
      if (control.checkBoxes) check(row);
      else void choose(active, { ctrlKey: true, metaKey: false, shiftKey: false });
    } else if (event.key === 'Enter' && active >= 0 && !box.current?.closest('dialog')) {
      const row = rows.at(active);
      if (row) void act({ act: 'open', window, control: index, row: row.row });
    }
  }

  const weights = columns.map((column) => `minmax(6rem, ${column.width || 1}fr)`).join(' ');
  const template = { gridTemplateColumns: (control.checkBoxes ? '2rem ' : '') + (isTable ? weights : '1fr') };
  const visible = [];
  for (let position = first; position <= last; ++position) {
    const row = rows.at(position);
    const shared = {
      key: position,
      id: `${id}r${position}`,
      class: 'row' + (isSelected(row) ? ' selected' : '') + (position === active ? ' active' : ''),
      style: { transform: `translateY(${position * rowHeight}px)`, ...template },
      onClick: (event: MouseEvent) => void choose(position, event),
      onDblClick: () => row && void act({ act: 'open', window, control: index, row: row.row }),
    };
    const tick = control.checkBoxes && (
      <span
        class={'tick' + (row?.checked ? ' on' : '')}
        aria-hidden="true"
        onClick={(event) => {
          event.stopPropagation();
          setActive(position);
          check(row);
        }}
      />
    );
    if (isTable) {
      visible.push(
        <div {...shared} role="row" aria-rowindex={position + 2} aria-selected={isSelected(row)}>
          {control.checkBoxes && (
            <span role="gridcell" aria-label={row?.checked ? 'checked' : 'not checked'}>
              {tick}
            </span>
          )}
          {columns.map((_, column) => (
            <span role="gridcell" class="cell" title={row?.cells[column]}>
              {row?.cells[column] ?? ''}
            </span>
          ))}
        </div>,
      );
    } else {
      visible.push(
        <div
          {...shared}
          role="option"
          aria-selected={isSelected(row)}
          aria-checked={control.checkBoxes ? (row?.checked ?? false) : undefined}
          aria-posinset={position + 1}
          aria-setsize={total}
        >
          {tick}
          <span class="cell">{row?.cells[0] ?? '…'}</span>
        </div>,
      );
    }
  }

  const body = (
    <div class="rows" role={isTable ? 'rowgroup' : 'presentation'} style={{ height: `${Math.max(total, 1) * rowHeight}px` }}>
      {visible}
    </div>
  );
  const long = (control.count ?? 0) > mostVisible;
  return (
    <div class={'list' + (control.disabled ? ' disabled' : '')}>
      {long && (
        <div class="filter">
          <input
            type="search"
            placeholder="Filter"
            aria-label={`Filter ${label}`}
            value={wanted}
            onInput={(event) => setWanted(event.currentTarget.value)}
          />
          <span class="dim">{total === control.count ? total.toLocaleString('en') : `${total.toLocaleString('en')} of ${control.count!.toLocaleString('en')}`}</span>
        </div>
      )}
      <div
        ref={box}
        class={'scroller' + (rows.fresh ? '' : ' stale')}
        id={id}
        role={isTable ? 'grid' : 'listbox'}
        tabIndex={control.disabled ? -1 : 0}
        aria-label={label}
        aria-disabled={control.disabled}
        aria-multiselectable={control.multiple || undefined}
        aria-rowcount={isTable ? total + 1 : undefined}
        aria-activedescendant={active >= first && active <= last ? `${id}r${active}` : undefined}
        style={{ height: `${height + (isTable ? rowHeight : 0) + 2}px` }}
        onScroll={(event) => setTop(event.currentTarget.scrollTop)}
        onKeyDown={onKey}
      >
        {isTable && (
          <div role="rowgroup" class="head">
            <div role="row" class="row" aria-rowindex={1} style={template}>
              {control.checkBoxes && <span role="columnheader" aria-label="Checked" />}
              {columns.map((column) => (
                <span role="columnheader" class="cell">
                  {column.title}
                </span>
              ))}
            </div>
          </div>
        )}
        {total > 0 ? body : !isTable ? <div role="option" aria-selected={false} class="empty dim">{filter ? 'No row holds this text' : 'Empty'}</div> : null}
      </div>
    </div>
  );
}
