// What pages and settings are for, as the program ships it.

import { store } from './store';
import { get } from './transport';

export interface Help {
  title: string;
  about: string;
  settings: Record<string, { text: string; default: string; under: string; danger: string }>;
}

const helps = new Map<string, Promise<Help | null>>();
/** What the page at the node, or a dialog of it, is for; null where nobody has written it down. */
export function helpOf(node: string, dialog = ''): Promise<Help | null> {
  const name = `${store.state?.instance} ${node} ${dialog}`;
  let help = helps.get(name);
  if (!help) {
    help = get<Help>('/api/help', { node, dialog });
    helps.set(name, help);
    // The line may have been lost: it is asked for again.
    void help.then((found) => found ?? helps.delete(name));
  }
  return help;
}
