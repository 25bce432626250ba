// The page that is shown.

import { useLayoutEffect, useRef } from 'preact/hooks';
import { Controls } from './controls';
import { Asked } from './dialogs';
import { WithHelp } from './help';
import { shownName } from './names';
import type { State } from './state';

/** How much a page has added by itself. */
function added(state: State): string {
  const count = state.controls.filter((control) => control.changed).length;
  return count === 1 ? '1 setting is' : `${count} settings are`;
}

export function Page({ state, found, onHelp }: { state: State; found: string; onHelp: () => void }) {
  const crumbs = state.node.split('::');
  const title = crumbs.pop();
  const box = useRef<HTMLElement>(null);
  useLayoutEffect(() => box.current?.scrollTo(0, 0), [state.window]);
  return (
    <main id="page" aria-label={title} tabIndex={-1} ref={box}>
      {state.node ? (
        <div class="page" key={state.window}>
          <header>
            <div>
              {crumbs.length > 0 && <p class="crumbs">{crumbs.join(' › ')}</p>}
              <h1>{shownName(title ?? '')}</h1>
            </div>
            <button type="button" class="quiet" title="Help (F1)" aria-label="Help" onClick={onHelp}>
              ?
            </button>
          </header>
          {state.asked && <Asked />}
          {state.unasked && (
            <p class="dim unasked" role="status">
              {added(state)} not stored yet: the page adds what is missing, and the next Apply stores it.
            </p>
          )}
          {state.problem && (
            <p class="problem" role="status">
              {state.problem}
            </p>
          )}
          <WithHelp number={state.help}>
            <Controls controls={state.controls} window={state.window} title={title ?? ''} found={found} />
          </WithHelp>
        </div>
      ) : (
        <div class="page">
          <h1>Nothing to show</h1>
          <p class="dim">
            {state.configServer ? 'There is no named configuration yet.' : 'There is no page.'}
          </p>
        </div>
      )}
    </main>
  );
}
