// The console: the computer and the search above, the tree beside, the page, and what waits to be applied.

import { render } from 'preact';
import { useEffect, useLayoutEffect, useMemo, useReducer, useRef, useState } from 'preact/hooks';
import { act, follow, settled, showRefused, store, switchTo, tell, type State } from './api';
import { Controls } from './controls';
import { Modal, Windows, Working } from './dialogs';
import { HelpPanel, WithHelp } from './help';
import { discard, Review } from './review';
import { Search, type Found } from './search';
import { TreeView } from './tree';

const toHash = (node: string) => `#/${node.split('::').map(encodeURIComponent).join('/')}`;
function fromHash(hash: string): string {
  try {
    return hash.startsWith('#/') ? hash.slice(2).split('/').map(decodeURIComponent).join('::') : '';
  } catch {
    return '';
  }
}

/** Keeps the address and the node that is shown the same, whichever changes. */
function useAddress(state: State | null) {
  const own = useRef('');
  const started = useRef(false);
  async function go(node: string) {
    own.current = node;
    const refusal = await act({ act: 'node', text: node });
    // What can't be shown is not in the address either.
    if (refusal && store.state) history.replaceState(null, '', toHash(store.state.node));
  }
  useEffect(() => {
    const onPop = () => {
      const node = fromHash(location.hash);
      if (node && node !== store.state?.node) void go(node);
    };
    window.addEventListener('popstate', onPop);
    return () => window.removeEventListener('popstate', onPop);
  }, []);
  useEffect(() => {
    if (!state?.node) return;
    const hash = toHash(state.node);
    if (!started.current) {
      started.current = true;
      const asked = fromHash(location.hash);
      if (asked && asked !== state.node) void go(asked);
      else history.replaceState(null, '', hash);
    } else if (location.hash !== hash) {
      if (own.current === state.node) history.replaceState(null, '', hash);
      else history.pushState(null, '', hash);
    }
    document.title = `${state.node.split('::').pop()} – Marrowen`;
  }, [state?.node]);
}

function Places({ state, root, onRoot }: { state: State; root: string; onRoot: (root: string) => void }) {
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

/** An Apply that no refused text stands against; what had the focus may be gone with it. */
async function apply() {
  if (store.state && showRefused(store.state.window)) return;
  await act({ act: 'apply' });
  if (document.activeElement === document.body) document.getElementById('page')?.focus();
}

function Page({ state, found, onHelp }: { state: State; found: string; onHelp: () => void }) {
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
              <h1>{title}</h1>
            </div>
            <button type="button" class="quiet" title="Help (F1)" aria-label="Help" onClick={onHelp}>
              ?
            </button>
          </header>
          {state.problem && (
            <p class="problem" role="status">
              {state.problem}
            </p>
          )}
          <WithHelp node={state.node}>
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

function Bar({ state, onReview }: { state: State; onReview: () => void }) {
  const count = state.marks.length;
  const [asked, setAsked] = useState(false);
  const { toast, line } = store;
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
        <Modal label="Question" onClose={() => setAsked(false)}>
          <p class="message">Discard the changes on {count} pages?</p>
          <div class="buttons">
            <button type="button" class="danger" onClick={() => (setAsked(false), void discard())}>
              Discard
            </button>
            <button type="button" data-first="" onClick={() => setAsked(false)}>
              Keep
            </button>
          </div>
        </Modal>
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

function App() {
  const [, redraw] = useReducer((n: number) => n + 1, 0);
  store.changed = () => redraw(0);
  const state = store.state;
  const [drawer, setDrawer] = useState(false);
  const [help, setHelp] = useState(false);
  const [review, setReview] = useState(false);
  const [found, setFound] = useState('');
  const [chosenRoot, setRoot] = useState('');
  useAddress(state);
  useEffect(follow, []);
  useEffect(() => {
    const onLeave = (event: BeforeUnloadEvent) => {
      if (store.state?.marks.length) event.preventDefault();
    };
    const onKey = (event: KeyboardEvent) => {
      if ((event.ctrlKey || event.metaKey) && event.key.toLowerCase() === 's') {
        event.preventDefault();
        if (store.state?.windows.length) return;
        // The edit that has the focus is left first, as by a click on Apply; what was typed may be on its way.
        (document.activeElement as HTMLElement | null)?.blur?.();
        void settled().then(() => {
          if (store.state?.apply && !store.state.windows.length) void apply();
        });
      }
      if (event.key === 'F1') {
        event.preventDefault();
        setHelp((open) => !open);
      }
    };
    window.addEventListener('beforeunload', onLeave);
    window.addEventListener('keydown', onKey);
    return () => {
      window.removeEventListener('beforeunload', onLeave);
      window.removeEventListener('keydown', onKey);
    };
  }, []);
  useEffect(() => {
    if (!found) return;
    const show = requestAnimationFrame(() => {
      const control = document.querySelector<HTMLElement>('.control.found');
      control?.scrollIntoView({ block: 'center' });
      control?.querySelector<HTMLElement>('input, select, textarea, button, [tabindex="0"]')?.focus();
    });
    const timer = setTimeout(() => setFound(''), 3000);
    return () => {
      cancelAnimationFrame(show);
      clearTimeout(timer);
    };
  }, [found]);

  const root = state?.configServer
    ? (state.roots.find((name) => name === chosenRoot) ??
      state.roots.find((name) => state.node.startsWith(`${name}::`)) ??
      state.roots[0] ??
      '')
    : '';
  // Most acts leave the tree as it is, and then it is not drawn again.
  const tree = useMemo(
    () =>
      state && (!state.configServer || root) ? (
        <TreeView key={`${state.instance}/${root}`} state={state} root={root} onChosen={() => setDrawer(false)} />
      ) : null,
    [state?.instance, state?.tree, state?.node, state?.configServer, root, state?.marks.join('\n')],
  );

  if (!state) {
    return (
      <p class="alone" role="status">
        {store.line === 'closed' ? 'This browser is not let in. Open the address that the console printed.' : ''}
      </p>
    );
  }
  /** The same page of the other configuration, or what is nearest to it above. */
  async function chooseRoot(name: string) {
    setRoot(name);
    const parts = store.state?.node.split('::').slice(1) ?? [];
    while (parts.length && (await act({ act: 'node', text: [name, ...parts].join('::') }, true))) parts.pop();
  }
  async function jump(one: Found) {
    setFound('');
    if (one.node !== store.state?.node && (await act({ act: 'node', text: one.node }))) return;
    setDrawer(false);
    setFound(one.name);
  }
  return (
    <div class={'console' + (drawer ? ' drawer' : '')}>
      <a class="skip" href="#page" onClick={(event) => (event.preventDefault(), document.querySelector<HTMLElement>('#page input, #page select')?.focus())}>
        To the page
      </a>
      <header class="top">
        <button type="button" class="quiet menu" aria-label="Settings tree" aria-expanded={drawer} onClick={() => (setDrawer(!drawer), !drawer && requestAnimationFrame(() => document.querySelector<HTMLElement>('.tree')?.focus()))}>
          <svg viewBox="0 0 16 16" aria-hidden="true"><path d="M2 4h12M2 8h12M2 12h12" /></svg>
        </button>
        <span class="brand">
          <img src="/icon.svg" alt="" width="24" height="24" />
          <span>Marrowen</span>
        </span>
        <Search onChosen={(one) => void jump(one)} />
        <Places state={state} root={root} onRoot={(name) => void chooseRoot(name)} />
      </header>
      <nav aria-label="Settings" onKeyDown={(event) => event.key === 'Escape' && setDrawer(false)}>
        {tree}
      </nav>
      {drawer && <div class="shade" onClick={() => setDrawer(false)} />}
      <Page state={state} found={found} onHelp={() => setHelp(!help)} />
      {help && <HelpPanel node={state.node} onClose={() => setHelp(false)} />}
      <Bar state={state} onReview={() => setReview(true)} />
      {review && <Review onClose={() => setReview(false)} />}
      <Windows windows={state.windows} />
      {state.working && <Working {...state.working} />}
    </div>
  );
}

render(<App />, document.getElementById('console')!);
