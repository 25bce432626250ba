// All that waits to be applied, by page and setting, with what is stored; each can be put back.

import { useEffect, useState } from 'preact/hooks';
import { allTaken } from './confirm';
import { Modal } from './modal';
import { tell } from './notices';
import { plain, type Changed, type ReviewedPage } from './state';
import { store } from './store';
import { act, get } from './transport';

const shown = (text: string | undefined) => (text ? text : 'empty');

/** Its name without the number that tells it from others of the same caption. */
const nameOf = (changed: Changed) => plain(changed.name).text.replace(/#\d+$/, '');

/** "was 10", for the mark beside a control. */
export function was(changed: Changed): string {
  if (changed.secret) return 'another password than stored';
  if (changed.was !== undefined) return `was ${changed.was === 'on' || changed.was === 'off' ? changed.was : shown(changed.was)}`;
  const parts = [];
  if (changed.added?.length) parts.push(`${changed.added.length} ${changed.ticks ? 'ticked' : 'added'}`);
  if (changed.removed?.length) parts.push(`${changed.removed.length} ${changed.ticks ? 'unticked' : 'taken out'}`);
  return parts.length ? parts.join(', ') : 'in another order';
}

export const revert = (node: string, control = -1) => act({ act: 'revert', text: node, number: control });

/** Drops all that waits, and offers to bring it back. */
export async function discard() {
  if (await act({ act: 'cancel' })) return;
  tell({ text: 'The changes were discarded.', undo: () => void act({ act: 'undoCancel' }) });
}

function Setting({ node, changed, onRevert }: { node: string; changed: Changed; onRevert: () => void }) {
  return (
    <li>
      <span class="name">{nameOf(changed)}</span>
      {changed.was === undefined ? (
        <span class="rows">
          {changed.removed?.map((row) => <del>{row}</del>)}
          {changed.added?.map((row) => <ins>{row}</ins>)}
          {!changed.removed?.length && !changed.added?.length && was(changed)}
        </span>
      ) : (
        <span class="rows">
          <del>{shown(changed.was)}</del> <span aria-label="becomes">→</span> <ins>{shown(changed.now)}</ins>
        </span>
      )}
      {changed.alone && (
        <button type="button" aria-label={`Revert ${nameOf(changed)} of ${node}`} onClick={() => void revert(node, changed.control).then(onRevert)}>
          Revert
        </button>
      )}
    </li>
  );
}

/** So many pages are asked for at once. */
const atOnce = 200;

export function Review({ onClose }: { onClose: () => void }) {
  const [all, setAll] = useState<{ total: number; pages: ReviewedPage[] } | null>(null);
  const [sure, setSure] = useState(false);
  const load = async (more = 0) => {
    const first = more && (all?.pages.length ?? 0);
    const answer = await get<{ total: number; pages: ReviewedPage[]; refusal?: string }>('/api/review', { first, count: more || Math.max(atOnce, all?.pages.length ?? 0) });
    if (answer?.refusal) tell({ text: answer.refusal, error: true });
    if (!answer?.total) onClose();
    else setAll(first ? { ...answer, pages: [...(all?.pages ?? []), ...answer.pages] } : answer);
  };
  useEffect(() => void load(), []);
  if (!all) return null;
  const left = all.total - all.pages.length;
  return (
    <Modal label="Changes that wait" onClose={onClose} wide>
      <h2>Changes that wait on {all.total.toLocaleString('en')} {all.total === 1 ? 'page' : 'pages'}</h2>
      <div class="body review">
        {all.pages.map(({ node, settings, unasked }) => (
          <section key={node} aria-label={node}>
            <h3>
              <button type="button" class="link" onClick={() => (onClose(), void act({ act: 'node', text: node }))}>
                {node.split('::').join(' › ')}
              </button>
              <button type="button" aria-label={`Revert all of ${node}`} onClick={() => void revert(node).then(() => load())}>
                Revert page
              </button>
            </h3>
            {unasked && <p class="dim">Nobody has edited this page: it adds what is not stored yet.</p>}
            <ul>
              {settings.map((changed) => (
                <Setting key={changed.control} node={node} changed={changed} onRevert={() => void load()} />
              ))}
              {settings.length === 0 && <li class="dim">Settings behind the buttons of this page, or the order of its entries</li>}
            </ul>
          </section>
        ))}
        {left > 0 && (
          <button type="button" onClick={() => void load(atOnce)}>
            {left > atOnce ? `Show ${atOnce} more of ${left.toLocaleString('en')} pages` : `Show ${left} more`}
          </button>
        )}
      </div>
      <div class="buttons">
        <button type="button" class={'aside' + (sure ? ' danger' : '')} onClick={() => (sure ? (onClose(), void discard()) : setSure(true))}>
          {sure ? 'Discard everything' : 'Discard all…'}
        </button>
        <button type="button" data-first="" onClick={onClose}>
          Close
        </button>
        <button type="button" class="primary" onClick={() => (onClose(), void allTaken(store.state?.window ?? 0).then((taken) => (taken ? act({ act: 'apply' }) : '')))}>
          Apply
        </button>
      </div>
    </Modal>
  );
}
