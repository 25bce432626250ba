// Which computer, and its own settings or a configuration.

import { useState } from 'preact/hooks';
import { Question } from './modal';
import type { State } from './state';
import { store } from './store';
import { switchTo } from './transport';

/** What is edited of a computer: its own settings (null), a configuration, or any of them (""). */
type Place = [computer: string, configuration: string | null];

const valueOf = (place: Place) => JSON.stringify(place);
const nameOf = (computer: string) => computer || 'This computer';

export function Places({ state, root, onRoot }: { state: State; root: string; onRoot: (root: string) => void }) {
  const [asked, setAsked] = useState<Place | null>(null);
  async function change(place: Place, drop = false) {
    const [computer, configuration] = place;
    const same = computer === state.computer && (configuration !== null) === state.configServer;
    if (same) return configuration && onRoot(configuration);
    // The same page of it, as soon as it is there.
    const page = state.configServer ? state.node.split('::').slice(1).join('::') : state.node;
    store.wanted = configuration ? `${configuration}::${page}` : page;
    const answer = await switchTo(computer, configuration !== null, drop);
    setAsked(answer === 'unsaved' ? place : null);
    if (answer) store.wanted = '';
    store.changed();
  }
  const choices = (computer: string): [string, Place][] => {
    const known = computer === state.computer ? state.configurations : [];
    return [['Own settings', [computer, null]], ...(known.length ? known.map((name): [string, Place] => [name, [computer, name]]) : ([['Named configurations', [computer, '']]] as [string, Place][]))];
  };
  return (
    <div class="places">
      <select aria-label="Computer and configuration" value={valueOf([state.computer, state.configServer ? root : null])} onChange={(event) => void change(JSON.parse(event.currentTarget.value) as Place)}>
        {['', ...state.computers].map((computer) => (
          <optgroup label={nameOf(computer)} key={computer}>
            {choices(computer).map(([text, place]) => (
              <option value={valueOf(place)}>{place[1] === null ? `${nameOf(computer)} · own settings` : place[1] ? `${nameOf(computer)} · ${text}` : `${nameOf(computer)} · named configurations`}</option>
            ))}
          </optgroup>
        ))}
      </select>
      {asked && (
        <Question text="Edits wait to be applied. Drop them and go on?" yes="Drop edits" no="Stay" onYes={() => void change(asked, true)} onNo={() => (setAsked(null), store.changed())} />
      )}
    </div>
  );
}
