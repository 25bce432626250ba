// Names as people read them.

/** A range of one address as that address. */
export const shownName = (name: string) => name.replace(/^((?:\d{1,3}\.){3}\d{1,3})-\1$/, '$1');

const number = (address: string) => address.split('.').reduce((sum, part) => sum * 256 + Number(part), 0);
const address = (value: number) => [24, 16, 8, 0].map((bits) => Math.floor(value / 2 ** bits) % 256).join('.');

/** What a person should know of the name. */
export function warningOf(name: string): string {
  const range = /^((?:\d{1,3}\.){3}\d{1,3})-((?:\d{1,3}\.){3}\d{1,3})$/.exec(name);
  return range && number(range[1]!) > number(range[2]!) ? 'ends before it begins and matches nobody' : '';
}

/** The first and the last address of a network as "10.0.0.0/24"; null for any other text. */
export function networkOf(text: string): { first: string; last: string } | null {
  const found = /^((?:\d{1,3}\.){3}\d{1,3})\/(\d{1,2})$/.exec(text.trim());
  if (!found || Number(found[2]) > 32 || found[1]!.split('.').some((part) => Number(part) > 255)) return null;
  const size = 2 ** (32 - Number(found[2]));
  const first = Math.floor(number(found[1]!) / size) * size;
  return { first: address(first), last: address(first + size - 1) };
}
