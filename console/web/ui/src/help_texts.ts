// What pages and settings are for, as the program ships it.

import { store } from './store';
import { get } from './transport';

export interface SettingHelp {
  text: string;
  default: string;
  under: string;
  danger: string;
  /** Of a list whose rows have pages of their own: the buttons that make, copy and delete one, and rank it. */
  rows: string[];
  rank: string[];
}

export interface Help {
  title: string;
  about: string;
  settings: Record<string, SettingHelp>;
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
