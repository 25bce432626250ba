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

/** Asks for all of it, so that no page changes its looks when its help comes; what is there already stays without an answer. */
export async function loadHelp() {
  store.helps = (await get<Help[]>('/api/help', {})) ?? store.helps ?? [];
  store.changed();
}

export const helpOf = (number: number | undefined): Help | null => (number === undefined ? null : (store.helps?.[number] ?? null));
