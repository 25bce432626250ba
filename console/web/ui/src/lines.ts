// Which controls of a page share a line, and what stands below it.

import { plain, type Control } from './state';

export const isSetting = (control: Control) => !/^(button|link|picture|text|slider|group)$/.test(control.kind);

/** A tick and the field of the same caption that it governs are one line. */
const isPair = (box: Control | undefined, field: Control | undefined) =>
  box?.kind === 'check box' && field?.kind === 'edit' && !field.multiLine && plain(box.caption).text === plain(field.caption).text;

const withButtons = 'grow edit';

/** Controls that share a line with their neighbours; a button belongs to the edit that it follows. */
function widthOf(control: Control, next: Control | undefined, own: boolean): string {
  switch (control.kind) {
    case 'button':
    case 'link':
    case 'picture':
      return 'inline';
    case 'slider':
      return 'grow';
    case 'check box':
      return isPair(control, next) ? 'inline' : 'wide';
    case 'edit':
      if (control.multiLine) return 'wide';
      if (control.spin || control.takes) return 'short';
      return own ? withButtons : 'wide';
    case 'address':
    case 'date':
      return 'short';
    default:
      return 'wide';
  }
}

export interface Placed {
  index: number;
  control: Control;
  width: string;
  /** It begins a line. */
  starts: boolean;
  /** It has the line for itself, and its sentence below it. */
  alone: boolean;
  /** Its name stands before it already. */
  unnamed: boolean;
  /** Those of its line, where it ends it, whose sentences stand below. */
  below: Control[];
}

/** Whether the buttons behind that place belong to what stands there, and not to the whole window. */
function hasOwnButtons(shown: [number, Control][], at: number): boolean {
  const ends = /^(ok|cancel|close)$/i;
  let end = at + 1;
  for (; shown[end]?.[1].kind === 'button'; ++end) {
    if (ends.test(plain(shown[end]![1].caption).text)) return false;
  }
  return end > at + 1;
}

/** The controls that are shown, with their indices in the window, in their lines. */
export function placed(shown: [number, Control][]): Placed[] {
  let line: Control[] = [];
  return shown.map(([index, control], at) => {
    const next = shown[at + 1]?.[1];
    const width = widthOf(control, next, hasOwnButtons(shown, at));
    const starts = line.length === 0;
    const goesOn = width === withButtons || isPair(control, next) || (!starts && next?.kind === 'button');
    const alone = starts && !goesOn;
    if (!alone && isSetting(control)) line.push(control);
    const below = goesOn ? [] : line;
    if (!goesOn) line = [];
    return { index, control, width, starts, alone, unnamed: isPair(shown[at - 1]?.[1], control), below };
  });
}
