// What takes several of a page's own steps: to delete many, or to move one over many ranks.

import { tell } from './notices';
import { plain, type Row } from './state';
import { controlsOf, store } from './store';
import { act, get } from './transport';

/** A list on a page. */
interface At {
  window: number;
  index: number;
}

/** Presses the page's button. */
export function press({ window }: At, caption: string): Promise<string> {
  const control = controlsOf(window).findIndex((one) => one.kind === 'button' && plain(one.caption).text === caption);
  return act({ act: 'click', window, control });
}

/** Selects the row of that name; false where there is none. */
async function select({ window, index }: At, name: string): Promise<boolean> {
  const list = controlsOf(window)[index];
  const rows =
    list?.kind === 'list' && list.rows
      ? list.rows
      : ((await get<{ rows: Row[] }>('/api/rows', { window, control: index, first: 0, count: 500, filter: name }))?.rows ?? []);
  const row = rows.find((one) => one.cells[0] === name);
  return row !== undefined && !(await act({ act: 'only', window, control: index, row: row.row }));
}

/** Answers what the page asks with yes; false where it asks for something else, which a person answers. */
async function agree(): Promise<boolean> {
  for (let modal = store.state?.windows.at(-1); modal; modal = store.state?.windows.at(-1)) {
    if (modal.kind !== 'message' || !modal.buttons.includes('Yes')) return false;
    if (await act({ act: 'answer', window: modal.window, text: 'Yes' })) return false;
  }
  return true;
}

/** How many rows the list has now. */
function countOf({ window, index }: At): number {
  const list = controlsOf(window)[index];
  return list?.kind === 'list' ? list.count : 0;
}

/** Deletes the rows of these names, about which the person was asked once; counts those that have gone. */
export async function removeAll(at: At, caption: string, names: string[]) {
  let done = 0;
  store.unseen = true;
  for (const name of names) {
    const before = countOf(at);
    if (!(await select(at, name)) || (await press(at, caption)) || !(await agree()) || countOf(at) >= before) break;
    ++done;
  }
  store.unseen = false;
  tell({
    text: done === names.length ? `${done} are deleted with the next Apply.` : `Only ${done} of ${names.length} could be deleted.`,
    error: done < names.length,
  });
}

/** Moves the selected row by the page's buttons for one rank up and down. */
export async function moveTo(at: At, [up, down]: string[], from: number, to: number) {
  for (let now = from; now !== to; now += to > now ? 1 : -1) {
    if (await press(at, to > now ? down! : up!)) break;
  }
}
