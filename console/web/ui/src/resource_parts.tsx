// What the table of users, groups or ranges is drawn of: the bar above it, its head and its rows.

import type { SettingHelp } from './help_texts';
import type { Sort } from './list_rows';
import { shownName, warningOf } from './names';
import { rowHeight } from './rows';

interface BarProps {
  label: string;
  says: SettingHelp;
  filter: string;
  total: number;
  count: number;
  picked: number;
  any: boolean; // row is picked or selected
  ranked: boolean;
  rank: number; // of the selected row, 0 for none
  moving: boolean;
  onFilter: (text: string) => void;
  onMake: () => void;
  onCopy: () => void;
  onDelete: () => void;
  onMoving: () => void;
  onMove: (rank: number) => void;
}

export function ResourceBar(props: BarProps) {
  const { label, says, filter, total, count, picked, any, ranked, rank, moving } = props;
  const [makes, copies, deletes] = says.rows;
  const moves = ranked && rank > 0;
  return (
    <div class="filter">
      <input type="search" placeholder="Filter" aria-label={`Filter ${label}`} value={filter} onInput={(event) => props.onFilter(event.currentTarget.value)} />
      <span class="dim">{total === count ? total.toLocaleString('en') : `${total.toLocaleString('en')} of ${count.toLocaleString('en')}`}</span>
      <span class="buttons-of">
        {makes && <button type="button" onClick={props.onMake}>{makes}</button>}
        {copies && <button type="button" disabled={picked > 1 || rank === 0} onClick={props.onCopy}>{copies}</button>}
        {deletes && <button type="button" disabled={!any} onClick={props.onDelete}>{picked > 1 ? `${deletes} (${picked})` : deletes}</button>}
        {says.rank.map((button, i) => (
          <button type="button" disabled={!moves} onClick={() => props.onMove(rank + (i ? 1 : -1))}>{button}</button>
        ))}
        {says.rank.length > 0 && <button type="button" disabled={!moves} onClick={props.onMoving}>Move to…</button>}
      </span>
      {moving && (
        <form class="moves" onSubmit={(event) => (event.preventDefault(), props.onMove(Number(new FormData(event.currentTarget).get('rank'))))}>
          <label>
            Rank <input name="rank" inputMode="numeric" autoComplete="off" value={rank} ref={(field) => field?.select()} />
          </label>
          <button type="submit">Move</button>
        </form>
      )}
    </div>
  );
}

const nextSort: Record<Sort, Sort> = { '': 'up', up: 'down', down: '' };

export function ResourceHead({ ranks, sort, onSort }: { ranks: boolean; sort: Sort; onSort: (sort: Sort) => void }) {
  return (
    <div role="rowgroup" class="head">
      <div role="row" class="row" aria-rowindex={1}>
        <span role="columnheader">
          <span class="unseen">Picked</span>
        </span>
        {ranks && <span role="columnheader">Rank</span>}
        <span role="columnheader" aria-sort={sort === 'up' ? 'ascending' : sort === 'down' ? 'descending' : 'none'}>
          <button type="button" class="sorts" onClick={() => onSort(nextSort[sort])}>
            Name {sort === 'up' ? '↑' : sort === 'down' ? '↓' : ''}
          </button>
        </span>
        <span role="columnheader">
          <span class="unseen">Acts</span>
        </span>
      </div>
    </div>
  );
}

interface RowProps {
  id: string;
  says: SettingHelp;
  position: number;
  /** Not there while it is being fetched. */
  name: string | undefined;
  selected: boolean;
  picked: boolean;
  ranked: boolean;
  onClick: (event: MouseEvent) => void;
  onOpen: () => void;
  onPick: () => void;
  onChoose: () => Promise<void>;
  onPress: (button: string) => void;
  onDrop: () => void;
}

/** Does it, and the click on the row is none. */
const alone = (does: () => void) => (event: MouseEvent) => (event.stopPropagation(), does());

export function ResourceRow({ id, says, position, name, selected, picked, ranked, ...on }: RowProps) {
  const warning = warningOf(name ?? '');
  return (
    <div
      id={id}
      role="row"
      aria-rowindex={position + 2}
      aria-selected={selected || picked}
      class={'row' + (selected ? ' selected active' : '')}
      style={{ transform: `translateY(${position * rowHeight}px)` }}
      draggable={ranked}
      onClick={on.onClick}
      onDblClick={on.onOpen}
      onDragStart={() => void on.onChoose()}
      onDragOver={(event) => ranked && event.preventDefault()}
      onDrop={(event) => (event.preventDefault(), on.onDrop())}
    >
      <span role="gridcell" class="picks">
        <span class={'tick' + (picked ? ' on' : '')} title={`Pick ${name}`} onClick={alone(on.onPick)} />
      </span>
      {says.rank.length > 0 && (
        <span role="gridcell" class="rank dim">
          {ranked ? position + 1 : ''}
        </span>
      )}
      <span role="gridcell" class="cell" title={warning && `${name} ${warning}`}>
        {warning && (
          <span class="sign" aria-hidden="true">
            ⚠
          </span>
        )}
        <span class="opens" title={`Open the settings of ${name}`} onClick={alone(on.onOpen)}>
          {name === undefined ? '…' : shownName(name)}
        </span>
        {warning && <span class="warning">{warning}</span>}
      </span>
      <span role="gridcell" class="acts">
        {says.rows.slice(1).map((button) => (
          <button type="button" tabIndex={-1} aria-label={`${button.split(' ')[0]} ${name}`} onClick={alone(() => void on.onChoose().then(() => on.onPress(button)))}>
            {button.split(' ')[0]}
          </button>
        ))}
      </span>
    </div>
  );
}
