// Which computer, and its own settings or a configuration.

import { useState } from 'preact/hooks';
import { Modal } from './modal';
import type { State } from './state';
import { store } from './store';
import { switchTo } from './transport';

export function Places({ state, root, onRoot }: { state: State; root: string; onRoot: (root: string) => void }) {
  const [asked, setAsked] = useState<{ computer: string; configServer: boolean } | null>(null);
  async function change(computer: string, configServer: boolean, drop = false) {
    const answer = await switchTo(computer, configServer, drop);
    setAsked(answer === 'unsaved' ? { computer, configServer } : null);
    store.changed();
  }
  return (
    <div class="places">
      <select aria-label="Computer" value={state.computer} onChange={(event) => void change(event.currentTarget.value, state.configServer)}>
        <option value="">This computer</option>
        {state.computers.map((name) => (
          <option value={name}>{name}</option>
        ))}
      </select>
      <select
        aria-label="What is edited"
        value={state.configServer ? `=${root}` : ''}
        onChange={(event) => {
          const value = event.currentTarget.value;
          if (!state.configServer || value === '') void change(state.computer, value !== '');
          else onRoot(value.slice(1));
        }}
      >
        <option value="">Own settings</option>
        {state.configServer ? (
          state.roots.length ? (
            state.roots.map((name) => <option value={`=${name}`}>{name}</option>)
          ) : (
            <option value="=">No configuration yet</option>
          )
        ) : (
          <option value="=">Named configurations</option>
        )}
      </select>
      {asked && (
        <Modal label="Question" onClose={() => (setAsked(null), store.changed())}>
          <p class="message">Edits wait to be applied. Drop them and go on?</p>
          <div class="buttons">
            <button type="button" data-first="" onClick={() => (setAsked(null), store.changed())}>
              Stay
            </button>
            <button type="button" class="danger" onClick={() => void change(asked.computer, asked.configServer, true)}>
              Drop edits
            </button>
          </div>
        </Modal>
      )}
    </div>
  );
}
