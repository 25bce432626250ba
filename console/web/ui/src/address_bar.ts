// The browser's address names what is shown.

import { useLayoutEffect, useRef } from 'preact/hooks';
import { fromHash, toHash, type Address } from './hash';
import { tell } from './notices';
import type { State } from './state';
import { store } from './store';
import { act, switchTo } from './transport';

/** Shows what the address asks for; a refusal where that can't be. */
async function show({ node, computer, configServer }: Address, state: State): Promise<string> {
  if (computer === state.computer && configServer === state.configServer) return node === state.node ? '' : act({ act: 'node', text: node });
  store.wanted = node;
  const answer = await switchTo(computer, configServer, false);
  if (answer) store.wanted = '';
  if (answer === 'unsaved') tell({ text: 'That address is of another place, and edits of this one wait to be applied.', error: true });
  return answer;
}

/** Keeps the address and the node that is shown the same, whichever changes; at no moment do they differ. */
export function useAddress(state: State | null) {
  const own = useRef('');
  const started = useRef(false);
  async function go(asked: Address) {
    if (!store.state) return;
    own.current = toHash(asked);
    const refusal = await show(asked, store.state);
    // What can't be shown is not in the address either.
    if (refusal) own.current = '';
    if (refusal && store.state) history.replaceState(null, '', toHash(store.state));
  }
  useLayoutEffect(() => {
    const onPop = () => {
      const asked = fromHash(location.hash);
      if (asked) void go(asked);
    };
    window.addEventListener('popstate', onPop);
    return () => window.removeEventListener('popstate', onPop);
  }, []);
  useLayoutEffect(() => {
    if (!state?.node) return;
    const hash = toHash(state);
    if (!started.current) {
      started.current = true;
      const asked = fromHash(location.hash);
      if (asked && toHash(asked) !== hash) void go(asked);
      else history.replaceState(null, '', hash);
    } else {
      // What was asked for has come, or a console that starts anew could not show it.
      const asked = own.current === hash || own.current === location.hash;
      if (location.hash !== hash) history[asked ? 'replaceState' : 'pushState'](null, '', hash);
      own.current = '';
    }
    document.title = [state.node.split('::').pop(), state.configServer && state.node.split('::')[0], state.computer, 'Marrowen'].filter(Boolean).join(' – ');
  }, [state?.instance, state?.node, state?.computer, state?.configServer]);
}
