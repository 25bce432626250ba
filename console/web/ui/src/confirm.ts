// What stands before anything that is confirmed: no text that a control refuses.

import { showRefused } from './notices';
import { idle, settled } from './transport';

/** Whether all that was typed is taken. What is on its way is answered first: it may be refused. */
export async function allTaken(window: number): Promise<boolean> {
  if (!idle()) {
    await settled();
    await new Promise((done) => setTimeout(done));
  }
  return !showRefused(window);
}
