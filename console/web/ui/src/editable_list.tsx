// A list whose rows are typed in place.

import { useState } from 'preact/hooks';
import { disabled, idOf, nameOf, type Props } from './labelled';
import { act } from './transport';

/** Rows that are typed in place; the empty one behind them is a new row, and a row without text goes. */
export function EditableList(props: Props<'editable list'>) {
  const { control, index, window } = props;
  const rows = control.choices ?? [];
  const [typed, setTyped] = useState<{ row: number; text: string } | null>(null);
  async function leave(row: number, text: string) {
    if (row === rows.length ? text : text !== rows[row]) {
      await act(
        text ? { act: 'editRow', window, control: index, row, text } : { act: 'removeRow', window, control: index, row },
      );
    }
    setTyped(null);
  }
  const label = nameOf(props);
  return (
    <div class="editable" role="group" aria-label={label}>
      {[...rows, ''].map((text, row) => (
        <span class="field" key={row}>
          <input
            id={row ? undefined : idOf(window, index)}
            aria-label={row < rows.length ? `${label} ${row + 1}` : `New in ${label}`}
            placeholder={row < rows.length ? undefined : 'New'}
            {...disabled(control)}
            spellcheck={false}
            autoComplete="off"
            value={typed?.row === row ? typed.text : text}
            onInput={(event) => setTyped({ row, text: event.currentTarget.value })}
            onBlur={(event) => void leave(row, event.currentTarget.value)}
          />
          {row < rows.length && (
            <button
              type="button"
              aria-label={`Remove ${text}`}
              {...disabled(control)}
              onClick={() => void act({ act: 'removeRow', window, control: index, row })}
            >
              ×
            </button>
          )}
        </span>
      ))}
    </div>
  );
}
