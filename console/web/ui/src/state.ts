// What the console tells of itself: the page, the windows above it, and what waits.

export interface Row {
  row: number;
  cells: string[];
  selected: boolean;
  checked?: boolean;
}

/** What every control has. */
interface Common {
  name: string;
  caption: string;
  /** The index of the group that it stands in, -1 for none. */
  group: number;
  value: string;
  disabled?: boolean;
  hidden?: boolean;
  storedAs?: string;
  changed?: Changed;
}

interface WithRows {
  selected: number;
  count: number;
  stamp: number;
  /** Those of a short list. */
  rows?: Row[];
  multiple?: boolean;
  checkBoxes?: boolean;
  columns?: { title: string; width: number }[];
}

/** What each kind of control has of its own. */
interface Own {
  text: object;
  group: object;
  link: object;
  picture: { image?: string };
  button: { default?: boolean };
  'check box': object;
  'radio button': { radioGroup: number };
  edit: {
    multiLine?: boolean;
    readOnly?: boolean;
    password?: boolean;
    /** There is a password, whose text stays in the console. */
    filled?: boolean;
    takes?: string;
    /** The most characters that it holds. */
    length?: number;
    spin?: [number, number];
  };
  'drop-down list': { editable: boolean; selected: number; choices: string[] };
  slider: { min: number; max: number; low: string; high: string };
  address: object;
  date: object;
  'editable list': { choices: string[] };
  list: WithRows;
  table: WithRows;
}

export type Kind = keyof Own;
export type OfKind<K extends Kind> = { [P in K]: Common & { kind: P } & Own[P] }[K];
export type Control = OfKind<Kind>;
export type Listing = OfKind<'list' | 'table'>;

/** What is stored, where a control shows something else. */
export interface Changed {
  control: number;
  name: string;
  alone: boolean;
  was?: string;
  now?: string;
  secret?: boolean;
  added?: string[];
  removed?: string[];
  /** Its rows are ticked and unticked. */
  ticks?: boolean;
}

export interface ReviewedPage {
  node: string;
  /** Nobody has edited it. */
  unasked?: boolean;
  settings: Changed[];
}

/** What stands above the page and waits for an answer. */
export interface DialogWindow {
  kind: 'dialog';
  window: number;
  caption: string;
  controls: Control[];
  help?: number;
}

export interface MessageWindow {
  kind: 'message';
  window: number;
  text: string;
  buttons: string[];
}

export interface FileWindow {
  kind: 'file';
  window: number;
  save: boolean;
  overwritePrompt: boolean;
  fileName: string;
  filter: string;
  /** It may be downloaded or uploaded instead. */
  transfer: boolean;
}

export interface FolderWindow {
  kind: 'folder';
  window: number;
  fileName: string;
  text: string;
}

export type ModalWindow = DialogWindow | MessageWindow | FileWindow | FolderWindow;

export interface State {
  version: number;
  instance: string;
  notice: string;
  computer: string;
  computers: string[];
  configServer: boolean;
  roots: string[];
  /** The named configurations of the computer, whether or not they are edited. */
  configurations: string[];
  tree: number;
  node: string;
  problem: string;
  window: number;
  controls: Control[];
  /** Which of the helps is the page's. */
  help?: number;
  /** What waits on the page it has added by itself. */
  unasked?: boolean;
  windows: ModalWindow[];
  marks: string[];
  apply: boolean;
  download: { id: string; name: string; tab: string } | null;
  working?: { done: number; unit: string };
  /** Another tab answers a dialog first. */
  asked?: boolean;
  /** How often other tabs have changed what this one shows, and what the last one did. */
  elsewhere: { count: number; text: string };
}

/** A caption as it is shown, and the key that it marks. */
export function plain(caption: string): { text: string; key?: string } {
  // "&&" is a "&" that is shown.
  const marked = /^(?:[^&]|&&)*&([^&])/.exec(caption);
  return { text: caption.replace(/&(.)/g, '$1'), key: marked?.[1]!.toLowerCase() };
}
