// Lists and tables of any length: rows are fetched and drawn by the window that is scrolled to.

import { useEffect, useRef, useState } from 'preact/hooks';
import { isSelected, useChoice, useRows, type ListProps } from './list_rows';
import { reveal, rowHeight, stepOf } from './rows';
import type { Listing, Row } from './state';

interface RowProps {
  control: Listing;
  row: Row | undefined;
  checked: boolean;
  position: number;
  total: number;
  /** What both kinds of row have. */
  shared: Record<string, unknown>;
  onCheck: () => void;
}

function ListRow({ control, row, checked, position, total, shared, onCheck }: RowProps) {
  const columns = control.columns ?? [];
  const tick = control.checkBoxes && (
    <span
      class={'tick' + (checked ? ' on' : '')}
      aria-hidden="true"
      onClick={(event) => {
        event.stopPropagation();
        onCheck();
      }}
    />
  );
  if (columns.length > 1) {
    return (
      <div {...shared} role="row" aria-rowindex={position + 2}>
        {control.checkBoxes && (
          <span role="gridcell" aria-label={checked ? 'checked' : 'not checked'}>
            {tick}
          </span>
        )}
        {columns.map((_, column) => (
          <span role="gridcell" class="cell" title={row?.cells[column]}>
            {row?.cells[column] ?? ''}
          </span>
        ))}
      </div>
    );
  }
  return (
    <div
      {...shared}
      role="option"
      aria-checked={control.checkBoxes ? checked : undefined}
      aria-posinset={position + 1}
      aria-setsize={total}
    >
      {tick}
      <span class="cell" title={row?.cells[0]}>
        {row?.cells[0] ?? '…'}
      </span>
    </div>
  );
}

function Head({ control, style }: { control: Listing; style: Record<string, string> }) {
  return (
    <div role="rowgroup" class="head">
      <div role="row" class="row" aria-rowindex={1} style={style}>
        {control.checkBoxes && <span role="columnheader" aria-label="Checked" />}
        {control.columns!.map((column) => (
          <span role="columnheader" class="cell">
            {column.title}
          </span>
        ))}
      </div>
    </div>
  );
}

function Filter({ label, total, count, onFilter }: { label: string; total: number; count: number; onFilter: (text: string) => void }) {
  const [text, setText] = useState('');
  useEffect(() => {
    const timer = setTimeout(() => onFilter(text), 60);
    return () => clearTimeout(timer);
  }, [text]);
  const all = count.toLocaleString('en');
  return (
    <div class="filter">
      <input
        type="search"
        placeholder="Filter"
        aria-label={`Filter ${label}`}
        value={text}
        onInput={(event) => setText(event.currentTarget.value)}
      />
      <span class="dim">{total === count ? all : `${total.toLocaleString('en')} of ${all}`}</span>
    </div>
  );
}

/** Equal columns share the width by their weights; a box to tick stands before them. */
function columnsOf(control: Listing) {
  const columns = control.columns ?? [];
  const weights = columns.map((column) => `minmax(6rem, ${column.width || 1}fr)`).join(' ');
  return { gridTemplateColumns: (control.checkBoxes ? '2rem ' : '') + (columns.length > 1 ? weights : '1fr') };
}

const mostVisible = 12;

export function List(props: ListProps) {
  const { control, index, window, label } = props;
  const [filter, setFilter] = useState('');
  const [top, setTop] = useState(0);
  const box = useRef<HTMLDivElement>(null);
  const rows = useRows(props, filter);
  const { active, isChecked, choose, check, open } = useChoice(props, rows, filter, (position) => reveal(box.current, position));
  const isTable = (control.columns?.length ?? 0) > 1;
  const total = rows.total;
  const height = Math.max(3, Math.min(total, mostVisible)) * rowHeight;
  const first = Math.max(0, Math.min(Math.floor(top / rowHeight) - 8, total - 1));
  const last = Math.min(total - 1, Math.ceil((top + height) / rowHeight) + 8);
  const id = `w${window}c${index}`;
  const style = columnsOf(control);
  // A list that has become short has nothing to filter, and shows what it has.
  const long = (control.count ?? 0) > mostVisible;
  useEffect(() => {
    if (!long) setFilter('');
  }, [long]);
  useEffect(() => {
    void rows.need(first, Math.max(first, last));
  }, [control.stamp, filter, first, last, window, index]);

  function onKey(event: KeyboardEvent) {
    const step = stepOf(event.key, active, total, Math.floor(height / rowHeight));
    if (step !== undefined) void choose(step, event);
    else if (event.key === ' ' && active >= 0 && control.checkBoxes) check(active);
    else if (event.key === ' ' && active >= 0) void choose(active, { ctrlKey: true, metaKey: false, shiftKey: false });
    else if (event.key === 'Enter' && active >= 0 && !box.current?.closest('dialog')) return open(active);
    else return;
    event.preventDefault();
  }

  const drawn = [];
  for (let position = first; position <= last; ++position) {
    const row = rows.at(position);
    const selected = isSelected(control, row);
    const shared = {
      id: `${id}r${position}`,
      class: 'row' + (selected ? ' selected' : '') + (position === active ? ' active' : ''),
      style: { transform: `translateY(${position * rowHeight}px)`, ...style },
      'aria-selected': selected,
      onClick: (event: MouseEvent) => void choose(position, event),
      onDblClick: () => open(position),
    };
    drawn.push(<ListRow key={position} {...{ control, row, checked: isChecked(row), position, total, shared }} onCheck={() => check(position)} />);
  }
  return (
    <div class={'list' + (control.disabled ? ' disabled' : '')}>
      {long && <Filter label={label} total={total} count={control.count!} onFilter={setFilter} />}
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
        {isTable && <Head control={control} style={style} />}
        {total > 0 ? (
          <div class="rows" role={isTable ? 'rowgroup' : 'presentation'} style={{ height: `${total * rowHeight}px` }}>
            {drawn}
          </div>
        ) : (
          !isTable && <div role="option" aria-selected={false} class="empty dim">{filter ? 'No entry holds this text' : 'Empty'}</div>
        )}
      </div>
    </div>
  );
}
