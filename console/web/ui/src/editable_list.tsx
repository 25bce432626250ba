// A list whose rows are typed in place.

import { useRef, useState } from 'preact/hooks';
import { disabled, idOf, nameOf, useDraft, type Props } from './labelled';
import { act } from './transport';

/** A number for each row, which it keeps when the one before it goes while it is typed in. */
function useNumbers(rows: string[]): number[] {
  const before = useRef({ rows: [] as string[], numbers: [] as number[], next: 0 }).current;
  if (rows.length < before.rows.length) {
    before.numbers.splice(before.rows.findIndex((text, row) => text !== rows[row]), before.rows.length - rows.length);
  }
  while (before.numbers.length < rows.length) before.numbers.push(before.next++);
  before.rows = rows;
  return before.numbers;
}

/** Rows that are typed in place; the empty one behind them is a new row, and a row without text goes. */
export function EditableList(props: Props<'editable list'>) {
  const { control, index, window } = props;
  const list = useDraft(control.choices ?? []);
  const rows = list.shown;
  const keys = [...useNumbers(rows), -1];
  const [typed, setTyped] = useState<{ key: number; text: string } | null>(null);
  function take(row: number, text: string) {
    setTyped((now) => (now?.key === keys[row] ? null : now));
    if (text === (rows[row] ?? '')) return;
    const at = { window, control: index, row };
    // What comes behind it counts the rows as they are then.
    const next = [...rows.slice(0, row), ...(text ? [text] : []), ...rows.slice(row + 1)];
    void list.change(next, () => act(text ? { ...at, act: 'editRow', text } : { ...at, act: 'removeRow' }));
  }
  const label = nameOf(props);
  return (
    <div class="editable" role="group" aria-label={label}>
      {[...rows, ''].map((text, row) => (
        <span class="field" key={keys[row]}>
          <input
            id={row ? undefined : idOf(window, index)}
            aria-label={row < rows.length ? `${label} ${row + 1}` : `New in ${label}`}
            placeholder={row < rows.length ? undefined : 'New'}
            {...disabled(control)}
            spellcheck={false}
            autoComplete="off"
            value={typed?.key === keys[row] ? typed!.text : text}
            onInput={(event) => setTyped({ key: keys[row]!, text: event.currentTarget.value })}
            onBlur={(event) => take(row, event.currentTarget.value)}
            // Enter takes what was typed; only the next one is for the window.
            onKeyDown={(event) => {
              if (event.key !== 'Enter' || event.currentTarget.value === text) return;
              event.preventDefault();
              event.stopPropagation();
              take(row, event.currentTarget.value);
            }}
          />
          {row < rows.length && (
            <button
              type="button"
              aria-label={`Remove ${text}`}
              {...disabled(control)}
              onClick={() => take(row, '')}
            >
              ×
            </button>
          )}
        </span>
      ))}
    </div>
  );
}
