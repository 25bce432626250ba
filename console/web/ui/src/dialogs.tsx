// What stands above the page and waits for an answer: dialogs, messages and pickers, one above the other.

import type { ComponentChildren } from 'preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { act, get, plain, showRefused, store, tell, upload, type ModalWindow } from './api';
import { WithHelp } from './help';
import { Controls } from './controls';

/** A window that keeps everything below it out of reach. */
export function Modal({ label, onClose, onEnter, children, wide }: { label: string; onClose: () => void; onEnter?: () => void; children: ComponentChildren; wide?: boolean }) {
  const element = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    const dialog = element.current!;
    const before = document.activeElement as HTMLElement | null;
    dialog.showModal();
    const first = dialog.querySelector<HTMLElement>('[data-first], .controls :is(input, select, textarea, button, [tabindex="0"]):not([disabled])');
    first?.focus();
    return () => {
      dialog.close();
      if (before?.isConnected) before.focus();
    };
  }, []);
  return (
    <dialog
      ref={element}
      aria-label={label}
      class={wide ? 'wide' : ''}
      onCancel={(event) => {
        event.preventDefault();
        onClose();
      }}
      onKeyDown={(event) => {
        if (event.key === 'Escape') {
          event.preventDefault();
          event.stopPropagation();
          onClose();
        }
        const target = event.target as HTMLElement;
        if (event.key !== 'Enter' || !onEnter || event.isComposing) return;
        if (target.closest('button, textarea, a, [type=search]')) return;
        event.preventDefault();
        onEnter();
      }}
    >
      {children}
      {store.toast?.error && (
        <p class="refusal" role="alert">
          {store.toast.text}{' '}
          <button type="button" class="quiet" aria-label="Dismiss" onClick={() => tell(null)}>
            ×
          </button>
        </p>
      )}
    </dialog>
  );
}

function Dialog({ modal }: { modal: ModalWindow }) {
  const controls = modal.controls ?? [];
  const has = (caption: string) =>
    controls.some((control) => control.kind === 'button' && plain(control.caption).text.toLowerCase() === caption);
  const press = (name: 'ok' | 'close' | 'enterKey') => {
    if (name !== 'close' && showRefused(modal.window)) return;
    void act({ act: name, window: modal.window });
  };
  return (
    <Modal label={modal.caption || 'Dialog'} onClose={() => press('close')} onEnter={() => press('enterKey')} wide>
      <h2>{modal.caption}</h2>
      <div class="body">
        <WithHelp node={store.state?.node ?? ''} dialog={modal.caption}>
          <Controls controls={controls} window={modal.window} title={modal.caption || 'Dialog'} />
        </WithHelp>
      </div>
      {!has('cancel') && !has('close') && (
        <div class="buttons">
          <button type="button" onClick={() => press('close')}>
            Cancel
          </button>
          {!has('ok') && (
            <button type="button" class="primary" onClick={() => press('ok')}>
              OK
            </button>
          )}
        </div>
      )}
    </Modal>
  );
}

function Message({ modal }: { modal: ModalWindow }) {
  const buttons = modal.buttons ?? [];
  const answer = (text: string) => void act({ act: 'answer', window: modal.window, text });
  // Enter without reading shall delete and reveal nothing: the answer that changes nothing has the focus.
  const first = buttons.length - 1;
  return (
    <Modal label={buttons.length > 1 ? 'Question' : 'Message'} onClose={() => void act({ act: 'close', window: modal.window })}>
      <p class="message" role="alert">
        {modal.text}
      </p>
      <div class="buttons">
        {buttons.map((text, i) => (
          <button type="button" data-first={i === first ? '' : undefined} class={buttons.length === 1 ? 'primary' : ''} onClick={() => answer(text)}>
            {text}
          </button>
        ))}
      </div>
    </Modal>
  );
}

interface Entry {
  name: string;
  path: string;
  size?: number;
}

interface Listing {
  path: string;
  parent: string;
  folders: Entry[];
  files: Entry[];
}

/** "Text (*.txt)|*.txt|All Files (*.*)|*.*||" */
function kindsOf(filter: string): { text: string; fits: (name: string) => boolean }[] {
  const parts = filter.split('|').filter((part) => part);
  const kinds = [];
  for (let i = 0; i + 1 < parts.length; i += 2) {
    const endings = parts[i + 1]!.split(';').map((pattern) => pattern.replace('*', '').toLowerCase());
    kinds.push({
      text: parts[i]!,
      fits: (name: string) => endings.some((ending) => ending === '.*' || name.toLowerCase().endsWith(ending)),
    });
  }
  return kinds.length ? kinds : [{ text: 'All files', fits: () => true }];
}

function Picker({ modal }: { modal: ModalWindow }) {
  const folderOnly = modal.kind === 'folder';
  const kinds = kindsOf(modal.filter ?? '');
  const [kind, setKind] = useState(0);
  const [listing, setListing] = useState<Listing | null>(null);
  const proposed = modal.fileName ?? '';
  const [name, setName] = useState(/[\\/]/.test(proposed) ? proposed.replace(/.*[\\/]/, '') : proposed);
  const [sure, setSure] = useState('');
  const [places, setPlaces] = useState(0);
  const [sending, setSending] = useState(false);
  const chosen = useRef<HTMLInputElement>(null);
  const label = folderOnly ? modal.text || 'Choose a folder' : modal.save ? 'Save as' : 'Open';

  async function enter(path: string) {
    let next = await get<Listing>('/api/files', { path, or_roots: 1 });
    if (next && !next.path) setPlaces(next.folders.length);
    // With one root there is nothing to choose at the top.
    if (next && !next.path && next.folders.length === 1) next = await get<Listing>('/api/files', { path: next.folders[0]!.path });
    if (next) setListing(next);
  }
  useEffect(() => {
    const end = folderOnly ? proposed.length : proposed.search(/[\\/][^\\/]*$/);
    void enter(end < 0 ? '' : proposed.slice(0, end));
  }, []);

  const path = listing?.path ?? '';
  const separator = path.startsWith('/') ? '/' : '\\';
  // A whole path is taken as it was typed.
  const whole = /^(\/|[A-Za-z]:[\\/])/.test(name);
  const target = folderOnly ? path : whole ? name : path && name ? path.replace(/[\\/]$/, '') + separator + name : '';
  const cancel = () => void act({ act: 'close', window: modal.window });
  const wanted = name.toLowerCase();
  // Pages add the ending of their first kind to a name without one.
  const there = listing?.files.find((file) => {
    const own = file.name.toLowerCase();
    return own === wanted || (!wanted.includes('.') && own.replace(/\.[^.]*$/, '') === wanted && kinds[0]!.fits(own));
  });
  function choose() {
    if (!target) return;
    if (modal.save && modal.overwritePrompt && there && sure !== target) return setSure(target);
    void act({ act: 'answer', window: modal.window, text: target });
  }
  async function send(file: File | undefined) {
    if (!file) return;
    setSending(true);
    await upload(modal.window, file);
    setSending(false);
  }
  const entries = [
    ...(listing && (listing.parent || (path && places !== 1)) ? [{ name: '..', path: listing.parent, folder: true }] : []),
    ...(listing?.folders ?? []).map((entry) => ({ ...entry, folder: true })),
    ...(folderOnly ? [] : (listing?.files ?? []).filter((file) => kinds[kind]!.fits(file.name)).map((entry) => ({ ...entry, folder: false }))),
  ];
  return (
    <Modal label={label} onClose={cancel} onEnter={choose} wide>
      <h2>{label}</h2>
      <div class="body picker">
        <p class="path">{path || 'Places'}</p>
        <ul>
          {entries.slice(0, 2000).map((entry) => (
            <li>
              <button
                type="button"
                class={'entry' + (!entry.folder && entry.name === name ? ' selected' : '')}
                onClick={() => (entry.folder ? void enter(entry.path) : (setName(entry.name), setSure('')))}
                onDblClick={() => !entry.folder && choose()}
              >
                <span class={entry.folder ? 'folder' : 'file'} aria-hidden="true" />
                <span class="name">{entry.name === '..' ? 'Folder above' : entry.name}</span>
              </button>
            </li>
          ))}
          {listing && entries.length === 0 && <li class="dim">Nothing here</li>}
        </ul>
        {!folderOnly && (
          <div class="controls">
            <div class="control wide">
              <label for="fileName">File name</label>
              <input id="fileName" value={name} data-first="" autoComplete="off" onInput={(event) => (setName(event.currentTarget.value), setSure(''))} />
            </div>
            {kinds.length > 1 && (
              <div class="control wide">
                <label for="fileKind">Files</label>
                <select id="fileKind" value={String(kind)} onChange={(event) => setKind(Number(event.currentTarget.value))}>
                  {kinds.map((one, i) => (
                    <option value={String(i)}>{one.text}</option>
                  ))}
                </select>
              </div>
            )}
          </div>
        )}
        {sure && there && <p role="alert">{there.name} already exists. Press Replace to write over it.</p>}
      </div>
      <div class="buttons">
        {modal.transfer && (modal.save ? (
          <button type="button" class="aside" disabled={!name} onClick={() => void act({ act: 'download', window: modal.window, text: name })}>
            Download
          </button>
        ) : (
          <>
            <input ref={chosen} type="file" hidden aria-label="File to upload" onChange={(event) => send(event.currentTarget.files?.[0])} />
            <button type="button" class="aside" disabled={sending} onClick={() => chosen.current?.click()}>
              {sending ? 'Uploading…' : 'Upload'}
            </button>
          </>
        ))}
        <button type="button" onClick={cancel}>
          Cancel
        </button>
        <button type="button" class="primary" disabled={!target} onClick={choose}>
          {sure ? 'Replace' : folderOnly ? 'Choose' : modal.save ? 'Save' : 'Open'}
        </button>
      </div>
    </Modal>
  );
}

/** Stands above all while the console is at work and takes nothing but the wish to stop. */
export function Working({ done, unit }: { done: number; unit: string }) {
  const [stopping, setStopping] = useState(false);
  function stop() {
    setStopping(true);
    void act({ act: 'stop' });
  }
  return (
    <Modal label="At work" onClose={stop}>
      <p class="message working" role="status">
        <span class="spinner" aria-hidden="true" />
        {done.toLocaleString('en')} {unit}
      </p>
      <div class="buttons">
        <button type="button" data-first="" disabled={stopping} onClick={stop}>
          Cancel
        </button>
      </div>
    </Modal>
  );
}

export function Windows({ windows }: { windows: ModalWindow[] }) {
  return (
    <>
      {windows.map((modal) => {
        if (modal.kind === 'dialog') return <Dialog key={modal.window} modal={modal} />;
        if (modal.kind === 'message') return <Message key={modal.window} modal={modal} />;
        return <Picker key={modal.window} modal={modal} />;
      })}
    </>
  );
}
