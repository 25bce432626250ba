// What controls of all kinds share: their names, their captions and the value that is being changed.

import type { ComponentChildren } from 'preact';
import { useRef, useState } from 'preact/hooks';
import { plain, type Control, type Kind, type OfKind } from './state';
import { store } from './store';

interface Place {
  index: number;
  window: number;
  title: string; // the window's, which names what nothing else names
  unnamed?: boolean; // its name stands before it already
}

export type Props<K extends Kind = Kind> = Place & { control: OfKind<K> };

export const idOf = (window: number, index: number) => `w${window}c${index}`;

/** What a screen reader calls the control: its caption, else its group's, numbered where there are several. */
export const nameOf = ({ control, title }: { control: Control; title: string }) =>
  (/^(#\d+)?$/.test(control.name) ? title : '') + plain(control.name).text.replace(/#(\d+)$/, ' $1');

/** A value that is being changed: the person's until the console has answered, then the console's. */
export function useDraft<T>(value: T) {
  const [draft, setDraft] = useState<T | null>(null);
  const last = useRef(0);
  return {
    shown: draft ?? value,
    async change(next: T, send: () => Promise<string>) {
      const number = ++last.current;
      setDraft(next);
      await send();
      if (number === last.current) setDraft(null);
    },
  };
}

export function Labelled({ control, index, window, unnamed, hint, children }: Props & { hint?: string; children: ComponentChildren }) {
  const { text } = plain(control.caption);
  return (
    <>
      {text && !unnamed && (
        <label for={idOf(window, index)} title={storedAs(control)}>
          {text}
        </label>
      )}
      {children}
      {hint && <span class="hint">{hint}</span>}
    </>
  );
}

export const storedAs = (control: Control) => (control.storedAs ? `Stored as ${control.storedAs}` : undefined);

/**
 * A disabled control can be reached while an act is on its way that may enable it, so that fast keys do not go
 * past it: what is done there is sent behind that act, and refused where it must be.
 */
export const disabled = (control: Control) => ({
  disabled: control.disabled && !store.unsettled,
  'aria-disabled': control.disabled,
});

export function common(props: Props) {
  const { control, index, window, unnamed } = props;
  const { key } = plain(control.caption);
  const labelled = !unnamed && plain(control.caption).text !== '';
  return {
    id: idOf(window, index),
    ...disabled(control),
    accessKey: key,
    'aria-label': labelled ? undefined : nameOf(props),
    title: labelled ? undefined : storedAs(control),
  };
}
