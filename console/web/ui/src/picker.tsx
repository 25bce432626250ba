// Chooses a file or a folder of the machine that the console runs on.

import { useEffect, useRef, useState } from 'preact/hooks';
import { Modal } from './modal';
import type { FileWindow, FolderWindow } from './state';
import { act, get, upload } from './transport';

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

export function Picker({ modal }: { modal: FileWindow | FolderWindow }) {
  const folderOnly = modal.kind === 'folder';
  const file = modal.kind === 'file' ? modal : null;
  const kinds = kindsOf(file?.filter ?? '');
  const [kind, setKind] = useState(0);
  const [listing, setListing] = useState<Listing | null>(null);
  const proposed = modal.fileName ?? '';
  const [name, setName] = useState(/[\\/]/.test(proposed) ? proposed.replace(/.*[\\/]/, '') : proposed);
  const [sure, setSure] = useState<{ target: string; name: string } | null>(null);
  const [places, setPlaces] = useState(0);
  const [sending, setSending] = useState(false);
  const chosen = useRef<HTMLInputElement>(null);
  const label = modal.kind === 'folder' ? modal.text || 'Choose a folder' : modal.save ? 'Save as' : 'Open';

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
  /** The file that the target would be written over, as its folder is now. */
  async function standing(): Promise<string | undefined> {
    const end = target.search(/[\\/][^\\/]*$/);
    const folder = await get<Listing>('/api/files', { path: target.slice(0, end) || '/' }).then((found) => found ?? get<Listing>('/api/files', { path: target.slice(0, end + 1) }));
    const wanted = target.slice(end + 1).toLowerCase();
    // Pages add the ending of their first kind to a name without one.
    return folder?.files.find((file) => {
      const own = file.name.toLowerCase();
      return own === wanted || (!wanted.includes('.') && own.replace(/\.[^.]*$/, '') === wanted && kinds[0]!.fits(own));
    })?.name;
  }
  async function choose() {
    if (!target) return;
    const there = file?.save && file.overwritePrompt && sure?.target !== target ? await standing() : undefined;
    if (there) return setSure({ target, name: there });
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
    <Modal label={label} onClose={cancel} onEnter={() => void choose()} wide>
      <h2>{label}</h2>
      <div class="body picker">
        <p class="path">{path || 'Places'}</p>
        <ul>
          {entries.slice(0, 2000).map((entry) => (
            <li>
              <button
                type="button"
                class={'entry' + (!entry.folder && entry.name === name ? ' selected' : '')}
                onClick={() => (entry.folder ? void enter(entry.path) : (setName(entry.name), setSure(null)))}
                onDblClick={() => !entry.folder && void choose()}
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
              <input id="fileName" value={name} data-first="" autoComplete="off" onInput={(event) => (setName(event.currentTarget.value), setSure(null))} />
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
        {sure?.target === target && <p role="alert">{sure.name} already exists. Press Replace to write over it.</p>}
      </div>
      <div class="buttons">
        {file?.transfer && (file.save ? (
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
        <button type="button" class="primary" disabled={!target} onClick={() => void choose()}>
          {sure?.target === target ? 'Replace' : folderOnly ? 'Choose' : file?.save ? 'Save' : 'Open'}
        </button>
      </div>
    </Modal>
  );
}
