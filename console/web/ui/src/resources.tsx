// A list whose rows have pages of their own: users, groups, ranges. It can be filtered and sorted; rows open, are
// copied, deleted several at once, and ranked, all by the buttons that the page has for that.

import { useEffect, useRef, useState } from 'preact/hooks';
import { moveTo, press, removeAll } from './bulk';
import type { SettingHelp } from './help_texts';
import { useDraft } from './labelled';
import { useRows, type ListProps, type Sort } from './list_rows';
import { Question } from './modal';
import { ResourceBar, ResourceHead, ResourceRow } from './resource_parts';
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
  const [top, setTop] = useState(0);
  const [moving, setMoving] = useState(false);
  const [asked, setAsked] = useState(false);
  const box = useRef<HTMLDivElement>(null);
  const anchor = useRef(-1);
  const rows = useRows(props, filter, sort);
  // The page's buttons are for the row that the console has selected, wherever the order and the filter put it.
  const place = useDraft(rows.positionOf(control.selected));
  const active = place.shown;
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

  const nameAt = (position: number) => rows.at(position)?.cells[0];
  async function choose(position: number) {
    reveal(box.current, position);
    await place.change(position, async () => {
      await rows.need(position, position);
      const row = rows.at(position);
      return row ? act({ act: 'only', window, control: index, row: row.row }) : '';
    });
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
    drawn.push(
      <ResourceRow
        key={position}
        id={`w${window}c${index}r${position}`}
        {...{ says, position, ranked, name: nameAt(position), selected: position === active, picked: picked.has(nameAt(position) ?? '') }}
        onClick={(event) => click(position, event)}
        onOpen={() => open(position)}
        onPick={() => pick(position, !picked.has(nameAt(position) ?? ''))}
        onChoose={() => choose(position)}
        onPress={(button) => void press(props, button)}
        onDrop={() => void move(position)}
      />,
    );
  }
  return (
    <div class={'list resources' + (says.rank.length ? ' ranks' : '')}>
      <ResourceBar
        {...{ label, says, filter, total, moving, ranked, picked: picked.size, any: chosen.length > 0, count: control.count, rank: active + 1 }}
        onFilter={setFilter}
        onMake={() => void press(props, makes!)}
        onCopy={() => void press(props, copies!)}
        onDelete={remove}
        onMoving={() => setMoving(!moving)}
        onMove={(rank) => void move(rank - 1)}
      />
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
        <ResourceHead ranks={says.rank.length > 0} sort={sort} onSort={setSort} />
        <div class="rows" role="rowgroup" style={{ height: `${total * rowHeight}px` }}>
          {drawn}
        </div>
        {asked && deletes && (
          <Question text={`${deletes.replace(/ .*/, '')} ${picked.size.toLocaleString('en')} of ${label}?`} yes="Delete" no="Keep" onYes={() => (setAsked(false), void removeAll(props, deletes, chosen))} onNo={() => setAsked(false)} />
        )}
        {total === 0 && <p class="empty dim">{filter ? 'No entry holds this text' : `None yet. “${makes}” adds one.`}</p>}
      </div>
    </div>
  );
}
