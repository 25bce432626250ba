// The search over all settings: it jumps to the control that is chosen and shows where it stands.

import { useEffect, useRef, useState } from 'preact/hooks';
import { plain } from './state';
import { get } from './transport';

export interface Found {
  node: string;
  name: string;
  group: string;
  kind: string;
  storedAs: string;
}

export function Search({ onChosen }: { onChosen: (found: Found) => void }) {
  const [text, setText] = useState('');
  const [found, setFound] = useState<Found[] | null>(null);
  const [active, setActive] = useState(0);
  const field = useRef<HTMLInputElement>(null);
  const answered = useRef('');

  useEffect(() => {
    if (!text.trim()) return setFound(null);
    let current = true;
    const timer = setTimeout(async () => {
      const answer = await get<Found[]>('/api/find', { text: text.trim() });
      if (current && answer) {
        answered.current = text.trim();
        setFound(answer);
        setActive(0);
      }
    }, 80);
    return () => {
      current = false;
      clearTimeout(timer);
    };
  }, [text]);
  useEffect(() => {
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

  function choose(one: Found | undefined) {
    if (!one) return;
    setText('');
    setFound(null);
    onChosen(one);
  }

  /** Enter right after typing waits for the answer to what was typed. */
  async function chooseNow(typed: string) {
    if (typed === answered.current) return choose(found?.[active]);
    const answer = typed ? await get<Found[]>('/api/find', { text: typed }) : null;
    choose(answer?.[0]);
  }

  return (
    <div class="search">
      <input
        ref={field}
        type="search"
        role="combobox"
        placeholder="Search settings"
        aria-label="Search settings"
        aria-expanded={found !== null}
        aria-controls="found"
        aria-autocomplete="list"
        aria-activedescendant={found?.length ? `f${active}` : undefined}
        autoComplete="off"
        value={text}
        onInput={(event) => setText(event.currentTarget.value)}
        onBlur={() => setTimeout(() => setFound(null), 150)}
        onKeyDown={(event) => {
          if (event.key === 'Escape') {
            setText('');
            setFound(null);
          }
          if (event.key === 'Enter') void chooseNow(event.currentTarget.value.trim());
          if (event.key === 'ArrowDown' || event.key === 'ArrowUp') {
            event.preventDefault();
            const count = found?.length ?? 0;
            if (count) setActive((active + (event.key === 'ArrowDown' ? 1 : count - 1)) % count);
          }
        }}
      />
      <kbd aria-hidden="true">Ctrl K</kbd>
      <div id="found" role="listbox" aria-label="Settings found" hidden={found === null}>
        {found?.map((one, i) => (
          <div
            id={`f${i}`}
            role="option"
            aria-selected={i === active}
            class={i === active ? 'active' : ''}
            onMouseDown={(event) => {
              event.preventDefault();
              choose(one);
            }}
          >
            <span>{plain(one.name).text.replace(/#\d+$/, '') || one.node.split('::').pop()}</span>
            <span class="dim">
              {one.node.split('::').join(' › ')}
              {one.group && one.group !== one.name ? ` › ${plain(one.group).text}` : ''}
            </span>
          </div>
        ))}
        {found?.length === 0 && (
          <div role="option" aria-selected={false} class="dim">
            No setting holds “{text}”
          </div>
        )}
      </div>
    </div>
  );
}
