// The one notice in sight: what was done, and what was refused.

import { refused, store } from './store';

export interface Notice {
  text: string;
  link?: string;
  error?: boolean;
  undo?: () => void;
}

let timer = 0;
let shown: Notice | null = null;

export const notice = () => shown;

export function tell(next: Notice | null) {
  shown = next;
  clearTimeout(timer);
  // What went wrong stays until it was read.
  if (next && !next.error) timer = window.setTimeout(() => tell(null), 8000);
  store.changed();
}

/** Shows the first refused text of the window; false where there is none. */
export function showRefused(window: number): boolean {
  for (const { window: of, reason, element } of refused.values()) {
    if (of !== window || !element.isConnected) continue;
    tell({ text: reason, error: true });
    element.focus();
    return true;
  }
  return false;
}
