// What waits to be applied, what was done, and the buttons of the sheet.

import { useState } from 'preact/hooks';
import { allTaken } from './confirm';
import { Question } from './modal';
import { notice, tell } from './notices';
import { discard } from './review';
import type { State } from './state';
import { store } from './store';
import { act } from './transport';

/** An Apply that no refused text stands against; what had the focus may be gone with it. */
export async function apply() {
  if (store.state && !(await allTaken(store.state.window))) return;
  await act({ act: 'apply' });
  if (document.activeElement === document.body) document.getElementById('page')?.focus();
}

export function Bar({ state, onReview }: { state: State; onReview: () => void }) {
  const count = state.marks.length;
  const [asked, setAsked] = useState(false);
  const { line } = store;
  const toast = notice();
  return (
    <footer>
      <div class="status" role="status">
        {line === 'lost' ? (
          <span class="error">The console does not answer. Trying again…</span>
        ) : line === 'closed' ? (
          <span class="error">This browser is not let in any more. Open the address that the console printed.</span>
        ) : toast ? (
          <span class={toast.error ? 'error' : ''}>
            {toast.text}{' '}
            {toast.undo && (
              <button type="button" class="link" onClick={() => (tell(null), toast.undo!())}>
                Undo
              </button>
            )}
            {toast.link && (
              <a href={toast.link} target="_blank" rel="noopener noreferrer">
                {toast.link}
              </a>
            )}
            <button type="button" class="quiet" aria-label="Dismiss" onClick={() => tell(null)}>
              ×
            </button>
          </span>
        ) : store.busy ? (
          <span class="dim">Working…</span>
        ) : null}
      </div>
      {count > 0 && (
        <button type="button" class="link" onClick={onReview}>
          Changes on {count.toLocaleString('en')} {count === 1 ? 'page wait' : 'pages wait'}
        </button>
      )}
      <button type="button" disabled={!state.apply} onClick={() => (count > 1 ? setAsked(true) : void discard())}>
        Cancel
      </button>
      {asked && (
        <Question text={`Discard the changes on ${count} pages?`} yes="Discard" no="Keep" onYes={() => (setAsked(false), void discard())} onNo={() => setAsked(false)} />
      )}
      <button type="button" class="primary" disabled={!state.apply} title="Apply (Ctrl+S)" onClick={() => void apply()}>
        Apply
        {count > 0 && (
          <span class="count" aria-label={`${count} waiting`}>
            {count}
          </span>
        )}
      </button>
    </footer>
  );
}
