// The browser's address names what is shown.

import { useEffect, useRef } from 'preact/hooks';
import { fromHash, toHash } from './hash';
import type { State } from './state';
import { store } from './store';
import { act } from './transport';

/** Keeps the address and the node that is shown the same, whichever changes. */
export function useAddress(state: State | null) {
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
    document.title = [state.node.split('::').pop(), state.configServer && state.node.split('::')[0], state.computer, 'Marrowen'].filter(Boolean).join(' – ');
  }, [state?.node, state?.computer]);
}
