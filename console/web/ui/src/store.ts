// What the browser's part holds, and who is told when it changes.

import type { Help } from './help_texts';
import type { Control, State } from './state';

export type Line = 'open' | 'lost' | 'closed';

export const store = {
  state: null as State | null,
  helps: null as Help[] | null, // null until it has come, or can't
  line: 'open' as Line,
  beeps: 0,
  busy: false, // an act has been on its way for a while
  unsettled: false, // an act is on its way that may enable controls
  wanted: '', // the node to go to where the console starts anew
  unseen: false, // windows open and are answered without a person
  changed: () => {},
  added: (_node: string) => {},
};

/** Texts that controls have refused, by window and control: nothing is confirmed while they stand there. */
export const refused = new Map<string, { window: number; reason: string; element: HTMLElement }>();

/** The controls of the page or dialog with that number, as they are now. */
export function controlsOf(window: number): Control[] {
  if (store.state?.window === window) return store.state.controls;
  const modal = store.state?.windows.find((one) => one.window === window);
  return modal?.kind === 'dialog' ? modal.controls : [];
}
