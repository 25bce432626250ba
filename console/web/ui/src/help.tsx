// What pages and settings are for: the sentence beside each setting, and the panel with all of it.

import { createContext, type ComponentChildren } from 'preact';
import { useContext } from 'preact/hooks';
import { helpOf, type Help } from './help_texts';
import { plain, type Control } from './state';
import { act } from './transport';

const Shown = createContext<Help | null>(null);

/** Lets the controls inside know their sentences. */
export function WithHelp({ number, children }: { number: number | undefined; children: ComponentChildren }) {
  return <Shown.Provider value={helpOf(number)}>{children}</Shown.Provider>;
}

const bare = (name: string) => plain(name).text.replace(/[: ]+$/, '');

/** The sentences on a control, by its name. */
export function useSentence(name: string) {
  const help = useContext(Shown);
  return help?.settings[bare(name)];
}

/** The captions of the buttons that lists show among their rows. */
export function useListButtons(controls: Control[]): Set<string> {
  const help = useContext(Shown);
  const lists = controls.filter((control) => control.kind === 'list').map((control) => help?.settings[bare(control.name)]);
  return new Set(lists.flatMap((says) => (says ? [...says.rows, ...says.rank] : [])));
}

/** `code` and **bold** inside a paragraph. */
function Words({ text }: { text: string }) {
  return (
    <>
      {text.split(/(`[^`]+`|\*\*[^*]+\*\*|\*[^*]+\*)/).map((part) => {
        if (part.startsWith('`')) return <code>{part.slice(1, -1)}</code>;
        if (part.startsWith('**')) return <strong>{part.slice(2, -2)}</strong>;
        if (part.startsWith('*') && part.length > 2) return <em>{part.slice(1, -1)}</em>;
        return part;
      })}
    </>
  );
}

/** Paragraphs and lists, which is all that the help is made of. */
export function Markdown({ text }: { text: string }) {
  return (
    <>
      {text.split(/\n\s*\n/).map((block) =>
        /^- /.test(block) ? (
          <ul>
            {block.split(/\n(?=- )/).map((item) => (
              <li>
                <Words text={item.slice(2).replaceAll('\n', ' ')} />
              </li>
            ))}
          </ul>
        ) : (
          <p>
            <Words text={block.replaceAll('\n', ' ')} />
          </p>
        ),
      )}
    </>
  );
}

export function Sentence({ name }: { name: string }) {
  const says = useSentence(name);
  if (!says) return null;
  return (
    <p class="says">
      <Words text={says.text} />
      {says.default && (
        <>
          {' '}
          <span class="default">Default: {says.default}.</span>
        </>
      )}
      {says.danger && (
        <span class="danger">
          <span aria-hidden="true">⚠ </span>
          <Words text={says.danger} />
        </span>
      )}
    </p>
  );
}

export function HelpPanel({ number, onClose }: { number: number | undefined; onClose: () => void }) {
  const help = helpOf(number);
  return (
    <aside aria-label="Help" class="help" onKeyDown={(event) => event.key === 'Escape' && onClose()}>
      <header>
        <h2>Help</h2>
        <button type="button" class="quiet" aria-label="Close help" onClick={onClose}>
          ×
        </button>
      </header>
      {help ? (
        <>
          <h3>{help.title.split('::').pop()}</h3>
          <Markdown text={help.about} />
          <dl>
            {Object.entries(help.settings).map(([name, { text, danger }]) => (
              <>
                <dt>{name.replace(/#\d+$/, '')}</dt>
                <dd>
                  <Words text={text} />
                  {danger && <span class="danger">⚠ {danger}</span>}
                </dd>
              </>
            ))}
          </dl>
        </>
      ) : (
        <p class="dim">There is no help for this page.</p>
      )}
      <button type="button" class="link" onClick={() => void act({ act: 'help' })}>
        The server's own help
      </button>
    </aside>
  );
}
