// Which letters of a text answer a search.

export interface Part {
  text: string;
  hit: boolean;
}

/** The text in parts, in order; those that hold a word of the search are hits. */
export function marked(text: string, words: string): Part[] {
  const hits = words
    .split(/\s+/)
    .filter((word) => word && !word.startsWith('@'))
    .map((word) => word.replace(/[.*+?^${}()|[\]\\]/g, '\\$&'));
  if (!hits.length) return [{ text, hit: false }];
  const parts = text.split(new RegExp(`(${hits.join('|')})`, 'i'));
  return parts.map((part, i) => ({ text: part, hit: i % 2 === 1 })).filter((part) => part.text);
}
