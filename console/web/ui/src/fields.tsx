// Boxes to tick, lists to choose from, sliders and days.

import { common, idOf, Labelled, storedAs, useDraft, type Props } from './labelled';
import { plain } from './state';
import { store } from './store';
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
        // As the person has left it until the console has answered, then as the console has it, also after a refusal.
        checked={store.unsettled ? undefined : control.value === 'on'}
        onChange={() => void act({ act: 'click', window, control: index })}
      />
      <span>{text}</span>
    </label>
  );
}

export function Combo(props: Props<'drop-down list'>) {
  const { control, index, window } = props;
  const at = { window, control: index };
  const choices = control.choices ?? [];
  const draft = useDraft(control.editable ? control.value : String(control.selected));
  if (!control.editable) {
    return (
      <Labelled {...props}>
        <select
          {...common(props)}
          value={draft.shown}
          onChange={(event) => {
            const row = event.currentTarget.value;
            void draft.change(row, () => act({ ...at, act: 'select', row: Number(row) }));
          }}
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
