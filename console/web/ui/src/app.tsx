// The console: the computer and the search above, the tree beside, the page, and what waits to be applied.

import { render } from 'preact';
import { useEffect, useMemo, useReducer, useRef, useState } from 'preact/hooks';
import { useAddress } from './address_bar';
import { apply, Bar } from './bar';
import { Windows, Working } from './dialogs';
import { HelpPanel } from './help';
import { loadHelp } from './help_texts';
import { Page } from './page';
import { Places } from './places';
import { discard, Review } from './review';
import { Search, type Found } from './search';
import { store } from './store';
import { act, follow, settled } from './transport';
import { TreeView } from './tree';

function App() {
  const [, redraw] = useReducer((n: number) => n + 1, 0);
  store.changed = () => redraw(0);
  const state = store.state;
  const [drawer, setDrawer] = useState(false);
  const [help, setHelp] = useState(false);
  const [review, setReview] = useState(false);
  const [found, setFound] = useState('');
  useAddress(state);
  // What a person has made on the page of a list is opened.
  store.added = (node) => {
    const own = store.state?.node ?? '';
    const path = [node, `${own.split('::')[0]}::${node}`].find((one) => one.startsWith(`${own}::`) && one.split('::').length === own.split('::').length + 1);
    if (path) void act({ act: 'node', text: path });
  };
  useEffect(follow, []);
  useEffect(() => void loadHelp(), []);
  // Another console may be another version; and the line may have been lost.
  const instance = useRef('');
  useEffect(() => {
    if (instance.current || store.helps?.length === 0) void loadHelp();
    instance.current = state?.instance ?? '';
  }, [state?.instance]);
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
      if (event.key === 'Escape' && !document.querySelector('dialog[open]')) setHelp(false);
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
    ? (state.roots.find((name) => `${state.node}::`.startsWith(`${name}::`)) ?? state.roots[0] ?? '')
    : '';
  // Most acts leave the tree as it is, and then it is not drawn again.
  const tree = useMemo(
    () =>
      state && (!state.configServer || root) ? (
        <TreeView key={`${state.instance}/${root}`} state={state} root={root} onChosen={() => setDrawer(false)} />
      ) : null,
    [state?.instance, state?.tree, state?.node, state?.configServer, root, state?.marks.join('\n')],
  );

  if (!state || !store.helps) {
    return (
      <p class="alone" role="status">
        {store.line === 'closed' ? 'This browser is not let in. Open the address that the console printed.' : ''}
      </p>
    );
  }
  /** The same page of the other configuration, or what is nearest to it above. */
  async function chooseRoot(name: string) {
    const parts = store.state?.node.split('::').slice(1) ?? [];
    while (parts.length && (await act({ act: 'node', text: [name, ...parts].join('::') }, true))) parts.pop();
  }
  const action = (name: string, does: () => void): Found => ({ node: '', kind: 'action', name, does });
  const actions = [
    action('Apply all changes', () => void apply()),
    action('Discard all changes', () => void discard()),
    action('Review what waits', () => setReview(true)),
    action('Open help', () => setHelp(true)),
  ];
  async function jump(one: Found) {
    if (one.does) return one.does();
    setFound('');
    if (one.node !== store.state?.node && (await act({ act: 'node', text: one.node }))) return;
    setDrawer(false);
    setFound(one.name ?? '');
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
        <Search onChosen={(one) => void jump(one)} actions={actions} />
        <Places state={state} root={root} onRoot={(name) => void chooseRoot(name)} />
      </header>
      <nav aria-label="Settings" onKeyDown={(event) => event.key === 'Escape' && setDrawer(false)}>
        {tree}
      </nav>
      {drawer && <div class="shade" onClick={() => setDrawer(false)} />}
      <Page state={state} found={found} onHelp={() => setHelp(!help)} />
      {help && <HelpPanel number={state.help} onClose={() => setHelp(false)} />}
      <Bar state={state} onReview={() => setReview(true)} />
      {review && <Review onClose={() => setReview(false)} />}
      <Windows windows={state.windows} />
      {state.working && <Working {...state.working} />}
    </div>
  );
}

render(<App />, document.getElementById('console')!);
