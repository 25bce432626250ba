// Every control that a window can have, drawn from what the state says of it.

import type { ComponentChildren } from 'preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { act, plain, refused, showRefused, store, type Control } from './api';
import { Sentence, useSentence } from './help';
import { List } from './list';
import { revert, was } from './review';

interface Props {
  control: Control;
  index: number;
  window: number;
  title: string; // the window's, which names what nothing else names
}

const idOf = (window: number, index: number) => `w${window}c${index}`;

/** What a screen reader calls the control: its caption, else its group's, numbered where there are several. */
const nameOf = ({ control, title }: Props) =>
  (/^(#\d+)?$/.test(control.name) ? title : '') + plain(control.name).text.replace(/#(\d+)$/, ' $1');

/** A value that is being changed: the person's until the console has answered, then the console's. */
function useDraft(value: string) {
  const [draft, setDraft] = useState<string | null>(null);
  const last = useRef(0);
  return {
    shown: draft ?? value,
    async change(text: string, send: () => Promise<string>) {
      const number = ++last.current;
      setDraft(text);
      await send();
      if (number === last.current) setDraft(null);
    },
  };
}

function Labelled({ control, index, window, hint, children }: Props & { hint?: string; children: ComponentChildren }) {
  const { text } = plain(control.caption);
  return (
    <>
      {text && (
        <label for={idOf(window, index)} title={storedAs(control)}>
          {text}
        </label>
      )}
      {children}
      {hint && <span class="hint">{hint}</span>}
    </>
  );
}

const storedAs = (control: Control) => (control.storedAs ? `Stored as ${control.storedAs}` : undefined);

function common(props: Props) {
  const { control, index, window } = props;
  const { text, key } = plain(control.caption);
  return {
    id: idOf(window, index),
    disabled: control.disabled,
    accessKey: key,
    'aria-label': text ? undefined : nameOf(props),
    title: text ? undefined : storedAs(control),
  };
}

function Edit(props: Props) {
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

function Box(props: Props) {
  const { control, index, window } = props;
  const radio = control.kind === 'radio button';
  const { text } = plain(control.caption);
  return (
    <label class="box" title={storedAs(control)}>
      <input
        {...common(props)}
        title={undefined}
        type={radio ? 'radio' : 'checkbox'}
        name={radio ? `w${window}g${control.radioGroup}` : undefined}
        checked={control.value === 'on'}
        onChange={async (event) => {
          const box = event.currentTarget;
          await act({ act: 'click', window, control: index });
          // A refused click has not changed the state, so nothing would draw the box back.
          const now = [store.state, ...(store.state?.windows ?? [])].find((any) => any?.window === window);
          const value = now?.controls?.[index]?.value;
          if (value !== undefined) box.checked = value === 'on';
        }}
      />
      <span>{text}</span>
    </label>
  );
}

function Combo(props: Props) {
  const { control, index, window } = props;
  const at = { window, control: index };
  const choices = control.choices ?? [];
  const draft = useDraft(control.value);
  if (!control.editable) {
    return (
      <Labelled {...props}>
        <select
          {...common(props)}
          value={String(control.selected)}
          onChange={(event) => void act({ ...at, act: 'select', row: Number(event.currentTarget.value) })}
        >
          {(control.selected ?? -1) < 0 && <option value="-1" />}
          {choices.map((choice, row) => (
            <option value={String(row)}>{choice}</option>
          ))}
        </select>
      </Labelled>
    );
  }
  return (
    <Labelled {...props}>
      <input
        {...common(props)}
        value={draft.shown}
        list={`${idOf(window, index)}l`}
        autoComplete="off"
        onInput={(event) => {
          const text = event.currentTarget.value;
          const row = choices.indexOf(text);
          void draft.change(text, () => act(row < 0 ? { ...at, act: 'rewrite', text } : { ...at, act: 'select', row }));
        }}
      />
      <datalist id={`${idOf(window, index)}l`}>
        {choices.map((choice) => (
          <option value={choice} />
        ))}
      </datalist>
    </Labelled>
  );
}

function Slider(props: Props) {
  const { control, index, window } = props;
  const draft = useDraft(control.value);
  return (
    <Labelled {...props}>
      <span class="slider">
        <span class="dim">{control.low}</span>
        <input
          {...common(props)}
          type="range"
          min={control.min}
          max={control.max}
          value={draft.shown}
          onInput={(event) => {
            const number = event.currentTarget.valueAsNumber;
            void draft.change(String(number), () => act({ act: 'drag', window, control: index, number }));
          }}
        />
        <span class="dim">{control.high}</span>
      </span>
    </Labelled>
  );
}

function Address(props: Props) {
  const { control, index, window } = props;
  const [text, setText] = useState<string | null>(null);
  const [hint, setHint] = useState('');
  const field = useRef<HTMLInputElement>(null);
  const whole = /^(\d{1,3}\.){3}\d{1,3}$/;
  const id = idOf(window, index);
  useEffect(() => () => void refused.delete(id), []);
  // What the control has not taken must not be confirmed: it still holds the address before it.
  function say(reason: string, visibly: boolean) {
    if (visibly || !reason) setHint(reason);
    if (reason && field.current) refused.set(id, { window, reason, element: field.current });
    else refused.delete(id);
  }
  async function enter(value: string, leaving: boolean) {
    if (value && !whole.test(value)) return say(`"${value}" is not an address: four numbers from 0 to 255 with dots between.`, leaving);
    const refusal = value === control.value ? '' : await act({ act: 'enter', window, control: index, text: value }, true);
    say(refusal, true);
    if (!refusal && leaving) setText(null);
  }
  return (
    <Labelled {...props} hint={hint}>
      <input
        {...common(props)}
        ref={field}
        class="address"
        inputMode="decimal"
        placeholder="0.0.0.0"
        autoComplete="off"
        value={text ?? control.value}
        aria-invalid={hint ? true : undefined}
        onInput={(event) => {
          setText(event.currentTarget.value);
          void enter(event.currentTarget.value, false);
        }}
        onBlur={(event) => void enter(event.currentTarget.value, true)}
      />
    </Labelled>
  );
}

function Day(props: Props) {
  const { control, index, window } = props;
  const draft = useDraft(control.value);
  return (
    <Labelled {...props}>
      <input
        {...common(props)}
        type="date"
        value={draft.shown}
        onChange={(event) => {
          const text = event.currentTarget.value;
          void draft.change(text, () => act({ act: 'enter', window, control: index, text }));
        }}
      />
    </Labelled>
  );
}

/** Rows that are typed in place; the empty one behind them is a new row, and a row without text goes. */
function EditableList(props: Props) {
  const { control, index, window } = props;
  const rows = control.choices ?? [];
  const [typed, setTyped] = useState<{ row: number; text: string } | null>(null);
  async function leave(row: number, text: string) {
    if (row === rows.length ? text : text !== rows[row]) {
      await act(
        text ? { act: 'editRow', window, control: index, row, text } : { act: 'removeRow', window, control: index, row },
      );
    }
    setTyped(null);
  }
  const label = nameOf(props);
  return (
    <div class="editable" role="group" aria-label={label}>
      {[...rows, ''].map((text, row) => (
        <span class="field" key={row}>
          <input
            id={row ? undefined : idOf(window, index)}
            aria-label={row < rows.length ? `${label} ${row + 1}` : `New in ${label}`}
            placeholder={row < rows.length ? undefined : 'New'}
            disabled={control.disabled}
            spellcheck={false}
            autoComplete="off"
            value={typed?.row === row ? typed.text : text}
            onInput={(event) => setTyped({ row, text: event.currentTarget.value })}
            onBlur={(event) => void leave(row, event.currentTarget.value)}
          />
          {row < rows.length && (
            <button
              type="button"
              aria-label={`Remove ${text}`}
              disabled={control.disabled}
              onClick={() => void act({ act: 'removeRow', window, control: index, row })}
            >
              ×
            </button>
          )}
        </span>
      ))}
    </div>
  );
}

function One(props: Props) {
  const { control, index, window } = props;
  const { text, key } = plain(control.caption);
  const says = useSentence(control.name);
  const click = () => {
    if (!/^(cancel|close)$/i.test(text) && showRefused(window)) return;
    void act({ act: 'click', window, control: index });
  };
  switch (control.kind) {
    case 'text':
      return <p class="note">{text}</p>;
    case 'picture':
      return <span class={`picture ${control.image ?? ''}`} role="img" aria-label={nameOf(props)} />;
    case 'link':
      return (
        <button type="button" class="link" id={idOf(window, index)} disabled={control.disabled} onClick={click}>
          {text || control.value}
        </button>
      );
    case 'button':
      return (
        <button
          type="button"
          id={idOf(window, index)}
          class={control.default || text === 'OK' ? 'primary' : ''}
          accessKey={key}
          disabled={control.disabled}
          title={says?.text}
          onClick={click}
        >
          {text || nameOf(props)}
        </button>
      );
    case 'check box':
    case 'radio button':
      return <Box {...props} />;
    case 'edit':
      return <Edit {...props} />;
    case 'drop-down list':
      return <Combo {...props} />;
    case 'slider':
      return <Slider {...props} />;
    case 'address':
      return <Address {...props} />;
    case 'date':
      return <Day {...props} />;
    case 'editable list':
      return <EditableList {...props} />;
    default: {
      const label = nameOf(props);
      return (
        <>
          {text && <span class="label">{text}</span>}
          <List control={control} index={index} window={window} label={label} />
        </>
      );
    }
  }
}

/** Controls that share a line with their neighbours; a button belongs to the edit that it follows. */
function widthOf(control: Control, next: Control | undefined): string {
  switch (control.kind) {
    case 'button':
    case 'link':
    case 'picture':
      return 'inline';
    case 'slider':
      return 'grow';
    case 'edit':
      if (control.multiLine) return 'wide';
      if (control.spin || control.takes) return 'short';
      return next?.kind === 'button' && next.group === control.group ? 'grow edit' : 'wide';
    case 'address':
    case 'date':
      return 'short';
    default:
      return 'wide';
  }
}

/** The mark of a control that shows something else than is stored, and the way back. */
function Mark({ control, node }: { control: Control; node: string }) {
  const { changed } = control;
  if (!changed) return null;
  return (
    <p class="changed">
      <span>{was(changed)}</span>
      {changed.alone && (
        <button type="button" class="link" aria-label={`Revert ${plain(control.name).text}`} onClick={() => void revert(node, changed.control)}>
          Revert
        </button>
      )}
    </p>
  );
}

const isSetting = (control: Control) => !/^(button|link|picture|text|slider|group)$/.test(control.kind);

function Cell({ props, next, found }: { props: Props; next: Control | undefined; found: string | undefined }) {
  const { control } = props;
  const says = useSentence(control.name);
  const own = isSetting(control);
  const width = own && says && widthOf(control, next) === 'short' ? 'wide small' : widthOf(control, next);
  const classes = ['control', width, control.disabled && 'disabled', control.changed && 'edited', own && says?.under && 'under', found && found === control.name && 'found'];
  return (
    <div class={classes.filter(Boolean).join(' ')}>
      <One {...props} />
      <Mark control={control} node={store.state?.node ?? ''} />
      {own && <Sentence name={control.name} />}
    </div>
  );
}

interface ControlsProps {
  controls: Control[];
  window: number;
  title: string;
  group?: number;
  found?: string;
}

export function Controls({ controls, window, title, group = -1, found }: ControlsProps) {
  return (
    <div class="controls">
      {controls.map((control, index) => {
        if (control.hidden || control.group !== group) return null;
        if (control.kind === 'group') {
          return (
            <fieldset key={index} class="wide">
              {control.caption && <legend>{plain(control.caption).text}</legend>}
              <Controls controls={controls} window={window} title={title} group={index} found={found} />
            </fieldset>
          );
        }
        return <Cell key={index} props={{ control, index, window, title }} next={controls[index + 1]} found={found} />;
      })}
    </div>
  );
}
