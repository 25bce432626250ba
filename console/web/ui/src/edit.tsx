// Text that is typed: one line or many, a number with arrows, a password.

import { useEffect, useRef, useState } from 'preact/hooks';
import { common, Labelled, nameOf, useDraft, type Props } from './labelled';
import { store } from './store';
import { act } from './transport';

export function Edit(props: Props<'edit'>) {
  const { control, index, window } = props;
  const at = { window, control: index };
  const value = control.value.replaceAll('\r\n', '\n');
  const draft = useDraft(value);
  const [hint, setHint] = useState('');
  const field = useRef<HTMLInputElement & HTMLTextAreaElement>(null);
  useEffect(() => {
    if (!hint) return;
    const timer = setTimeout(() => setHint(''), 3000);
    return () => clearTimeout(timer);
  }, [hint]);

  async function onInput(event: { currentTarget: HTMLInputElement | HTMLTextAreaElement }) {
    const text = event.currentTarget.value;
    const behind = text.length - (event.currentTarget.selectionEnd ?? text.length);
    const beeps = store.beeps;
    await draft.change(text, () => act({ ...at, act: 'rewrite', text }));
    if (store.beeps === beeps) return;
    if (control.takes) setHint(`Takes ${control.takes}`);
    // A dropped key leaves the caret where it was.
    requestAnimationFrame(() => {
      const element = field.current;
      if (!element || document.activeElement !== element) return;
      // Who has selected something meanwhile types over it.
      if (element.selectionStart !== element.selectionEnd) return;
      const place = Math.max(0, element.value.length - behind);
      element.setSelectionRange(place, place);
    });
  }
  const shared = {
    ...common(props),
    ref: field,
    value: draft.shown,
    readOnly: control.readOnly,
    spellcheck: false,
    autoComplete: control.password ? 'new-password' : 'off',
    onInput,
    onBlur: () => !control.readOnly && void act({ ...at, act: 'leave' }, true),
  };
  if (control.multiLine) {
    return (
      <Labelled {...props} hint={hint}>
        <textarea {...shared} rows={control.readOnly ? 3 : 8} />
      </Labelled>
    );
  }
  const step = (steps: number) => void act({ ...at, act: 'spin', number: steps });
  return (
    <Labelled {...props} hint={hint}>
      <span class="field">
        <input
          {...shared}
          type={control.password ? 'password' : 'text'}
          maxLength={control.length}
          placeholder={control.password && control.filled ? '••••••••' : undefined}
          inputMode={control.takes === 'digits only' ? 'numeric' : undefined}
          role={control.spin ? 'spinbutton' : undefined}
          aria-valuemin={control.spin?.[0]}
          aria-valuemax={control.spin?.[1]}
          aria-valuenow={control.spin ? Number(control.value) || 0 : undefined}
          onKeyDown={(event) => {
            if (!control.spin || (event.key !== 'ArrowUp' && event.key !== 'ArrowDown')) return;
            event.preventDefault();
            step(event.key === 'ArrowUp' ? 1 : -1);
          }}
        />
        {control.spin && !control.readOnly && (
          <span class="arrows">
            <button type="button" tabIndex={-1} aria-label={`${nameOf(props)} up`} disabled={control.disabled} onClick={() => step(1)}>
              <svg viewBox="0 0 10 6" aria-hidden="true"><path d="M1 5l4-4 4 4" /></svg>
            </button>
            <button type="button" tabIndex={-1} aria-label={`${nameOf(props)} down`} disabled={control.disabled} onClick={() => step(-1)}>
              <svg viewBox="0 0 10 6" aria-hidden="true"><path d="M1 1l4 4 4-4" /></svg>
            </button>
          </span>
        )}
      </span>
    </Labelled>
  );
}
