// A list whose rows have pages of their own: users, groups, ranges. It can be filtered and sorted; rows open, are
// copied, deleted several at once, and ranked, all by the buttons that the page has for that.

import { useEffect, useRef, useState } from 'preact/hooks';
import { moveTo, press, removeAll } from './bulk';
import type { SettingHelp } from './help_texts';
import { useRows, type ListProps, type Sort } from './list_rows';
import { Modal } from './modal';
import { shownName, warningOf } from './names';
import { reveal, rowHeight, stepOf } from './rows';
import { store } from './store';
import { act } from './transport';

const mostVisible = 14;

interface Props extends ListProps {
  says: SettingHelp;
}

const nodeOf = (name: string) => `${store.state?.node}::${name}`;

export function Resources(props: Props) {
  const { control, index, window, label, says } = props;
  const [makes, copies, deletes] = says.rows;
  const [filter, setFilter] = useState('');
  const [sort, setSort] = useState<Sort>('');
  const [picked, setPicked] = useState<ReadonlySet<string>>(new Set());
  const [active, setActive] = useState(-1);
  const [top, setTop] = useState(0);
  const [moving, setMoving] = useState(false);
  const [asked, setAsked] = useState(false);
  const box = useRef<HTMLDivElement>(null);
  const anchor = useRef(-1);
  const rows = useRows(props, filter, sort);
  const total = rows.total;
  const height = Math.max(3, Math.min(total, mostVisible)) * rowHeight;
  const first = Math.max(0, Math.min(Math.floor(top / rowHeight) - 8, total - 1));
  const last = Math.min(total - 1, Math.ceil((top + height) / rowHeight) + 8);
  // The rank is the place in the whole list as it is stored.
  const ranked = says.rank.length > 0 && !sort && !filter;
  useEffect(() => {
    void rows.need(first, Math.max(first, last));
  }, [control.stamp, filter, sort, first, last, window, index]);
  // What is no more is not picked.
  useEffect(() => setPicked(new Set()), [control.count]);
  useEffect(() => setActive(control.selected), [control.selected]);

  const nameAt = (position: number) => rows.at(position)?.cells[0];
  async function choose(position: number) {
    setActive(position);
    reveal(box.current, position);
    await rows.need(position, position);
    const row = rows.at(position);
    if (row) await act({ act: 'only', window, control: index, row: row.row });
  }
  /** One that is picked alone is the one that the page's buttons are for. */
  function pick(position: number, on: boolean, to = position) {
    const next = new Set(picked);
    for (let at = Math.min(position, to); at <= Math.max(position, to); ++at) {
      const name = nameAt(at);
      if (name) on ? next.add(name) : next.delete(name);
    }
    anchor.current = position;
    setPicked(next);
    if (on && next.size === 1) void choose(position);
  }
  function click(position: number, event: MouseEvent) {
    const name = nameAt(position) ?? '';
    if (event.shiftKey && anchor.current >= 0) pick(anchor.current, true, position);
    else if (event.ctrlKey || event.metaKey) pick(position, !picked.has(name));
    else {
      anchor.current = position;
      void choose(position);
    }
  }
  const open = (position: number) => {
    const name = nameAt(position);
    if (name) void act({ act: 'node', text: nodeOf(name) });
  };
  /** The picked ones, or the one that is selected. */
  const chosen = picked.size ? [...picked] : active >= 0 && nameAt(active) ? [nameAt(active)!] : [];
  function remove() {
    if (picked.size > 1) setAsked(true);
    else if (deletes && chosen.length) void press(props, deletes);
  }
  async function move(to: number) {
    setMoving(false);
    if (active >= 0 && ranked) await moveTo({ window, index }, says.rank, active, Math.max(0, Math.min(total - 1, to)));
    setActive(store.state ? Math.max(0, Math.min(total - 1, to)) : -1);
    box.current?.focus();
  }

  function onKey(event: KeyboardEvent) {
    const arrow = event.key === 'ArrowUp' ? -1 : event.key === 'ArrowDown' ? 1 : 0;
    const step = stepOf(event.key, active, total, Math.floor(height / rowHeight));
    if (event.altKey && arrow && ranked) void move(active + arrow);
    else if (step !== undefined) void choose(step);
    else if (active < 0) return;
    else if (event.key === 'Enter') open(active);
    else if (event.key === ' ') pick(active, !picked.has(nameAt(active) ?? ''));
    else if (event.key === 'Delete') remove();
    else return;
    event.preventDefault();
  }

  const drawn = [];
  for (let position = first; position <= last; ++position) {
    const name = nameAt(position);
    const selected = position === active;
    drawn.push(
      <div
        key={position}
        id={`w${window}c${index}r${position}`}
        role="row"
        aria-rowindex={position + 2}
        aria-selected={selected || picked.has(name ?? '')}
        class={'row' + (selected ? ' selected active' : '')}
        style={{ transform: `translateY(${position * rowHeight}px)` }}
        draggable={ranked}
        onClick={(event) => click(position, event)}
        onDblClick={() => open(position)}
        onDragStart={() => void choose(position)}
        onDragOver={(event) => ranked && event.preventDefault()}
        onDrop={(event) => (event.preventDefault(), void move(position))}
      >
        <span role="gridcell" class="picks">
          <span class={'tick' + (picked.has(name ?? '') ? ' on' : '')} title={`Pick ${name}`} onClick={(event) => (event.stopPropagation(), pick(position, !picked.has(name ?? '')))} />
        </span>
        {says.rank.length > 0 && (
          <span role="gridcell" class="rank dim">
            {ranked ? position + 1 : ''}
          </span>
        )}
        <span role="gridcell" class="cell">
          <span class="opens" title={`Open the settings of ${name}`} onClick={(event) => (event.stopPropagation(), open(position))}>
            {name === undefined ? '…' : shownName(name)}
          </span>
          {warningOf(name ?? '') && <span class="warning">⚠ {warningOf(name ?? '')}</span>}
        </span>
        <span role="gridcell" class="acts">
          {[copies, deletes].map((button) => button && (
            <button type="button" tabIndex={-1} aria-label={`${button.split(" ")[0]} ${name}`} onClick={(event) => (event.stopPropagation(), void choose(position).then(() => press(props, button)))}>
              {button.split(' ')[0]}
            </button>
          ))}
        </span>
      </div>,
    );
  }
  return (
    <div class={'list resources' + (says.rank.length ? ' ranks' : '')}>
      <div class="filter">
        <input type="search" placeholder="Filter" aria-label={`Filter ${label}`} value={filter} onInput={(event) => setFilter(event.currentTarget.value)} />
        <span class="dim">{total === control.count ? total.toLocaleString('en') : `${total.toLocaleString('en')} of ${control.count.toLocaleString('en')}`}</span>
        <span class="buttons-of">
          {makes && <button type="button" onClick={() => void press(props, makes)}>{makes}</button>}
          {copies && <button type="button" disabled={picked.size > 1 || active < 0} onClick={() => void press(props, copies)}>{copies}</button>}
          {deletes && (
            <button type="button" disabled={chosen.length === 0} onClick={remove}>
              {picked.size > 1 ? `${deletes} (${picked.size})` : deletes}
            </button>
          )}
          {says.rank.map((button, i) => (
            <button type="button" disabled={!ranked || active < 0} onClick={() => void move(active + (i ? 1 : -1))}>{button}</button>
          ))}
          {says.rank.length > 0 && <button type="button" disabled={!ranked || active < 0} onClick={() => setMoving(!moving)}>Move to…</button>}
        </span>
        {moving && (
          <form class="moves" onSubmit={(event) => (event.preventDefault(), void move(Number(new FormData(event.currentTarget).get('rank')) - 1))}>
            <label>
              Rank <input name="rank" inputMode="numeric" autoComplete="off" value={active + 1} ref={(field) => field?.select()} />
            </label>
            <button type="submit">Move</button>
          </form>
        )}
      </div>
      <div
        ref={box}
        class={'scroller' + (rows.fresh ? '' : ' stale')}
        role="grid"
        tabIndex={0}
        aria-label={label}
        aria-multiselectable={true}
        aria-rowcount={total + 1}
        aria-activedescendant={active >= first && active <= last ? `w${window}c${index}r${active}` : undefined}
        style={{ height: `${height + rowHeight + 2}px` }}
        onScroll={(event) => setTop(event.currentTarget.scrollTop)}
        onKeyDown={onKey}
      >
        <div role="rowgroup" class="head">
          <div role="row" class="row" aria-rowindex={1}>
            <span role="columnheader">
              <span class="unseen">Picked</span>
            </span>
            {says.rank.length > 0 && <span role="columnheader">Rank</span>}
            <span role="columnheader" aria-sort={sort === 'up' ? 'ascending' : sort === 'down' ? 'descending' : 'none'}>
              <button type="button" class="sorts" onClick={() => setSort(sort === '' ? 'up' : sort === 'up' ? 'down' : '')}>
                Name {sort === 'up' ? '↑' : sort === 'down' ? '↓' : ''}
              </button>
            </span>
            <span role="columnheader">
              <span class="unseen">Acts</span>
            </span>
          </div>
        </div>
        <div class="rows" role="rowgroup" style={{ height: `${total * rowHeight}px` }}>
          {drawn}
        </div>
        {asked && deletes && (
          <Modal label="Question" onClose={() => setAsked(false)}>
            <p class="message">
              {deletes.replace(/ .*/, '')} {picked.size.toLocaleString('en')} of {label}?
            </p>
            <div class="buttons">
              <button type="button" class="danger" onClick={() => (setAsked(false), void removeAll(props, deletes, chosen))}>
                Delete
              </button>
              <button type="button" data-first="" onClick={() => setAsked(false)}>
                Keep
              </button>
            </div>
          </Modal>
        )}
        {total === 0 && <p class="empty dim">{filter ? 'No entry holds this text' : `None yet. “${makes}” adds one.`}</p>}
      </div>
    </div>
  );
}
