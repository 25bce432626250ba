// An address of four numbers, which keeps what it refuses until it was mended.

import { useEffect, useRef, useState } from 'preact/hooks';
import { common, idOf, Labelled, type Props } from './labelled';
import { networkOf } from './names';
import { controlsOf, refused } from './store';
import { act } from './transport';

export function Address(props: Props<'address'>) {
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
    const network = networkOf(value);
    if (network) {
      await act({ act: 'enter', window, control: index, text: network.first }, true);
      const next = controlsOf(window).findIndex((control, at) => at > index && control.kind === 'address');
      if (next >= 0) await act({ act: 'enter', window, control: next, text: network.last }, true);
      say('', true);
      if (leaving) setText(null);
      return;
    }
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
