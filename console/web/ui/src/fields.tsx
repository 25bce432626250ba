// Boxes to tick, lists to choose from, sliders and days.

import { common, idOf, Labelled, storedAs, useDraft, type Props } from './labelled';
import { plain } from './state';
import { controlsOf } from './store';
import { act } from './transport';

export function Box(props: Props<'check box' | 'radio button'>) {
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
          const value = controlsOf(window)[index]?.value;
          if (value !== undefined) box.checked = value === 'on';
        }}
      />
      <span>{text}</span>
    </label>
  );
}

export function Combo(props: Props<'drop-down list'>) {
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

export function Slider(props: Props<'slider'>) {
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

export function Day(props: Props<'date'>) {
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
