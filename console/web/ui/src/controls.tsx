// Every control that a window can have, drawn from what the state says of it, in the window's order.

import { Fragment, type ComponentChild } from 'preact';
import { Address } from './address';
import { allTaken } from './confirm';
import { EditableList } from './editable_list';
import { Edit } from './edit';
import { Box, Combo, Day, Slider } from './fields';
import { Sentence, useListButtons, useSentence } from './help';
import { disabled, idOf, nameOf, type Props } from './labelled';
import { isSetting, placed } from './lines';
import { List } from './list';
import { Resources } from './resources';
import { revert, was } from './review';
import { plain, type Control, type Kind, type OfKind } from './state';
import { store } from './store';
import { act } from './transport';

/** A press of a button or link; one that confirms waits until no text is refused. */
async function press({ control, index, window }: Props) {
  if (!/^(cancel|close)$/i.test(plain(control.caption).text) && !(await allTaken(window))) return;
  void act({ act: 'click', window, control: index });
}

function Press(props: Props<'button'>) {
  const { control, index, window } = props;
  const { text, key } = plain(control.caption);
  const says = useSentence(control.name);
  return (
    <button
      type="button"
      id={idOf(window, index)}
      class={control.default || text === 'OK' ? 'primary' : ''}
      accessKey={key}
      {...disabled(control)}
      title={says?.text}
      onClick={() => void press(props)}
    >
      {text || nameOf(props)}
    </button>
  );
}

function Link(props: Props<'link'>) {
  const { control, index, window } = props;
  return (
    <button type="button" class="link" id={idOf(window, index)} {...disabled(control)} onClick={() => void press(props)}>
      {plain(control.caption).text || control.value}
    </button>
  );
}

function Rows(props: Props<'list' | 'table'>) {
  const says = useSentence(props.control.name);
  const { control, index, window } = props;
  const { text } = plain(control.caption);
  return (
    <>
      {text && <span class="label">{text}</span>}
      {says && says.rows.length > 0 ? (
        <Resources {...{ control, index, window, label: nameOf(props), says }} />
      ) : (
      <List control={control} index={index} window={window} label={nameOf(props)} />
      )}
    </>
  );
}

/** A text that nobody types, without a name of its own. */
const explains = (control: OfKind<'edit'>) => control.readOnly && control.multiLine && plain(control.caption).text === '';

/** How each kind is drawn; one that is missing does not compile. */
const kinds: { [K in Exclude<Kind, 'group'>]: (props: Props<K>) => ComponentChild } = {
  text: ({ control }) => <p class="note">{plain(control.caption).text}</p>,
  picture: (props) => <span class={`picture ${props.control.image ?? ''}`} role="img" aria-label={nameOf(props)} />,
  link: Link,
  button: Press,
  'check box': Box,
  'radio button': Box,
  edit: (props) => (explains(props.control) ? <p class="note">{props.control.value}</p> : <Edit {...props} />),
  'drop-down list': Combo,
  slider: Slider,
  address: Address,
  date: Day,
  'editable list': EditableList,
  list: Rows,
  table: Rows,
};

function One(props: Props) {
  if (props.control.kind === 'group') return null;
  const Drawn = kinds[props.control.kind] as (props: Props) => ComponentChild;
  return <>{Drawn(props)}</>;
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

/** What stands below a control, or below the line that it shares with its buttons. */
function Below({ control }: { control: Control }) {
  return (
    <>
      <Mark control={control} node={store.state?.node ?? ''} />
      {isSetting(control) && <Sentence name={control.name} />}
    </>
  );
}

function BelowLine({ control }: { control: Control }) {
  const under = useSentence(control.name)?.under || control.kind === 'check box';
  return (
    <div class={'control wide below' + (under ? ' under' : '') + (control.changed ? ' edited' : '')}>
      <Below control={control} />
    </div>
  );
}

function Cell({ props, width: asked, starts, alone, found }: { props: Props; width: string; starts: boolean; alone: boolean; found: string | undefined }) {
  const { control } = props;
  const says = useSentence(control.name);
  const own = isSetting(control);
  const width = alone && own && says && asked === 'short' ? 'wide small' : asked;
  const classes = ['control', width, control.disabled && 'disabled', starts && control.changed && 'edited', starts && own && says?.under && 'under', found && found === control.name && 'found'];
  return (
    <div class={classes.filter(Boolean).join(' ')}>
      <One {...props} />
      {alone && <Below control={control} />}
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
  // Those that a list shows among its rows.
  const drawnByLists = useListButtons(controls);
  const shown = [...controls.entries()].filter(
    ([, control]) => !control.hidden && control.group === group && !(control.kind === 'button' && drawnByLists.has(plain(control.caption).text)),
  );
  return (
    <div class="controls">
      {placed(shown).map(({ index, control, width, starts, alone, unnamed, below }) => {
        if (control.kind === 'group') {
          return (
            <fieldset key={index} class="wide">
              {control.caption && <legend>{plain(control.caption).text}</legend>}
              <Controls controls={controls} window={window} title={title} group={index} found={found} />
            </fieldset>
          );
        }
        return (
          <Fragment key={index}>
            <Cell props={{ control, index, window, title, unnamed }} width={width} starts={starts} alone={alone} found={found} />
            {below.map((one) => (
              <BelowLine control={one} key={one.name} />
            ))}
          </Fragment>
        );
      })}
    </div>
  );
}
