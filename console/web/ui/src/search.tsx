// The search over pages, settings, people and what can be done: it jumps to what is chosen. A setting that each
// user, group or range has asks for whom.

import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { marked, type Part } from './marked';
import { shownName } from './names';
import { plain } from './state';
import { get } from './transport';

export interface Found {
  node: string;
  kind: string;
  name?: string;
  group?: string;
  storedAs?: string;
  value?: string;
  page?: number;
  forWhom?: boolean;
  /** Something that the frame of the page does. */
  does?: () => void;
}

type Groups = Record<'pages' | 'settings' | 'people' | 'actions', Found[]>;
const titles: [keyof Groups, string][] = [
  ['pages', 'Pages'],
  ['settings', 'Settings'],
  ['people', 'People'],
  ['actions', 'Actions'],
];
const hints = [
  { text: '@changed', says: 'what waits to be applied' },
  { text: '@not-default', says: 'what is stored otherwise than by default' },
];

function Marked({ parts }: { parts: Part[] }) {
  return <>{parts.map((part) => (part.hit ? <mark>{part.text}</mark> : part.text))}</>;
}

function Option({ one, words, id, active, onChoose }: { one: Found; words: string; id: string; active: boolean; onChoose: () => void }) {
  const path = one.node.split('::').map(shownName);
  const name = one.name ? plain(one.name).text.replace(/#\d+$/, '') : (path[path.length - 1] ?? '');
  const where = one.does ? '' : (one.name ? path : path.slice(0, -1)).join(' › ') + (one.group && one.group !== one.name ? ` › ${plain(one.group).text}` : '');
  return (
    <div
      id={id}
      role="option"
      aria-selected={active}
      class={active ? 'active' : ''}
      onMouseDown={(event) => {
        event.preventDefault();
        onChoose();
      }}
    >
      <span>
        <Marked parts={marked(name, words)} />
        {one.value && <span class="value"> = {one.value}</span>}
        {one.forWhom && <span class="whom"> for whom?</span>}
      </span>
      <span class="dim">
        <Marked parts={marked(where, words)} />
        {one.storedAs && words && one.storedAs.toLowerCase().includes(words.split(' ')[0]!) && <> · {one.storedAs}</>}
      </span>
    </div>
  );
}

/** What answers the text; what is typed meanwhile is asked for when the answer is there. */
function useAnswers(text: string, setting: Found | null, actions: Found[]) {
  const [groups, setGroups] = useState<Groups | null>(null);
  const answered = useRef('');
  const asking = useRef(false);
  const asked = `${setting?.page ?? ''}/${text.trim()}`;
  async function ask(): Promise<Groups | null> {
    if (!text.trim() && !setting) return null;
    if (setting) {
      const people = await get<Found[]>('/api/find', { text: text.trim(), page: setting.page ?? 0 });
      return people && { pages: [], settings: [], people, actions: [] };
    }
    const found = await get<Groups & { refusal?: string }>('/api/find', { text: text.trim() });
    if (!found || found.refusal) return null;
    const words = text.trim().toLowerCase().split(/\s+/);
    const own = actions.filter(({ name }) => words.every((word) => name!.toLowerCase().includes(word)));
    return { ...found, actions: [...own, ...found.actions] };
  }
  const latest = useRef({ asked, ask });
  latest.current = { asked, ask };
  async function follow() {
    if (asking.current) return;
    asking.current = true;
    for (let done = ''; done !== latest.current.asked; ) {
      const next = latest.current;
      done = next.asked;
      const found = await next.ask();
      if (found) answered.current = done;
      setGroups(found);
    }
    asking.current = false;
  }
  useEffect(() => void follow(), [asked]);
  /** The answer to just this text, also where it has not come yet. */
  const now = async () => (answered.current === asked ? groups : ask());
  return { groups, now, clear: () => setGroups(null) };
}

const flat = (groups: Groups | null) => titles.flatMap(([key]) => groups?.[key] ?? []);

export function Search({ onChosen, actions }: { onChosen: (found: Found) => void; actions: Found[] }) {
  const [text, setText] = useState('');
  const [setting, setSetting] = useState<Found | null>(null);
  const [active, setActive] = useState(0);
  const [open, setOpen] = useState(false);
  const field = useRef<HTMLInputElement>(null);
  const closing = useRef(0);
  const { groups, now, clear } = useAnswers(text, setting, actions);
  const all = flat(groups);
  /** The answer that arrows have gone to, which stays the one while further letters are answered. */
  const aimed = useRef<Found | null>(null);
  const words = text.trim().toLowerCase();

  useLayoutEffect(() => {
    const { node, name, kind } = aimed.current ?? {};
    const at = aimed.current ? all.findIndex((one) => one.node === node && one.name === name && one.kind === kind) : 0;
    setActive(Math.max(at, 0));
    if (at < 1) aimed.current = null;
  }, [groups]);
  // As soon as it stands there: keys may follow at once.
  useLayoutEffect(() => {
    const onKey = (event: KeyboardEvent) => {
      if ((event.ctrlKey || event.metaKey) && event.key.toLowerCase() === 'k' && !document.querySelector('dialog[open]')) {
        event.preventDefault();
        field.current?.focus();
        field.current?.select();
      }
    };
    window.addEventListener('keydown', onKey);
    return () => window.removeEventListener('keydown', onKey);
  }, []);
  useEffect(() => document.getElementById(`f${active}`)?.scrollIntoView({ block: 'nearest' }), [active]);

  function leave() {
    setText('');
    setSetting(null);
    aimed.current = null;
    clear();
    setOpen(false);
  }
  function choose(one: Found | undefined) {
    if (!one) return;
    aimed.current = null;
    if (one.forWhom && !setting) {
      setText('');
      clear();
      return setSetting(one);
    }
    leave();
    onChosen(setting ? { ...setting, node: one.node } : one);
  }
  function onKey(event: KeyboardEvent) {
    if (event.key === 'Escape') leave();
    else if (event.key === 'Backspace' && !text && setting) setSetting(null);
    // Enter right after typing waits for the answer to what was typed.
    else if (event.key === 'Enter' && aimed.current) choose(aimed.current);
    else if (event.key === 'Enter') void now().then((found) => choose(flat(found)[0]));
    else if (event.key === 'ArrowDown' || event.key === 'ArrowUp') {
      event.preventDefault();
      if (!all.length) return;
      const to = (active + (event.key === 'ArrowDown' ? 1 : all.length - 1)) % all.length;
      aimed.current = all[to]!;
      setActive(to);
    }
  }

  const shown = open && (groups !== null || !text);
  let index = 0;
  return (
    <div class="search">
      {setting && <span class="chosen">{plain(setting.name ?? '').text} for</span>}
      <input
        ref={field}
        type="search"
        role="combobox"
        placeholder={setting ? 'For whom?' : 'Search settings, people and actions'}
        aria-label="Search settings"
        aria-expanded={shown}
        aria-controls="found"
        aria-autocomplete="list"
        aria-activedescendant={all.length ? `f${active}` : undefined}
        autoComplete="off"
        value={text}
        onInput={(event) => (setText(event.currentTarget.value), setOpen(true))}
        onFocus={() => (clearTimeout(closing.current), setOpen(true))}
        onBlur={() => (closing.current = window.setTimeout(() => setOpen(false), 150))}
        onKeyDown={onKey}
      />
      <kbd aria-hidden="true">Ctrl K</kbd>
      <div id="found" role="listbox" aria-label="Found" hidden={!shown}>
        {titles.map(([key, title]) => {
          const some = groups?.[key] ?? [];
          return some.length === 0 ? null : (
            <div role="group" aria-label={title} key={key}>
              <p class="title" aria-hidden="true">
                {setting ? `${plain(setting.name ?? '').text}: for whom?` : title}
              </p>
              {some.map((one) => {
                const at = index++;
                return <Option key={at} {...{ one, words, id: `f${at}`, active: at === active, onChoose: () => choose(one) }} />;
              })}
            </div>
          );
        })}
        {groups !== null && all.length === 0 && (
          <div role="option" aria-selected={false} class="dim">
            Nothing answers “{text}”
          </div>
        )}
        {!text && !setting &&
          hints.map(({ text: hint, says }) => (
            <div role="option" aria-selected={false} key={hint} onMouseDown={(event) => (event.preventDefault(), setText(hint))}>
              <span>{hint}</span>
              <span class="dim">{says}</span>
            </div>
          ))}
      </div>
    </div>
  );
}
