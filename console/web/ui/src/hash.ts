// What is shown, as the part of an address behind its "#": the page's path, of which configuration and computer.

export interface Address {
  node: string;
  computer: string;
  /** The node is one of a named configuration. */
  configServer: boolean;
}

export function toHash({ node, computer, configServer }: Address): string {
  const path = node.split('::');
  const place = new URLSearchParams();
  if (computer) place.set('computer', computer);
  if (configServer) place.set('configuration', path.shift()!);
  return `#/${path.map(encodeURIComponent).join('/')}${place.size ? `?${place}` : ''}`;
}

/** Null for what is no such address. */
export function fromHash(hash: string): Address | null {
  const [, path, place] = /^#\/([^?]*)(?:\?(.*))?$/.exec(hash) ?? [];
  if (path === undefined) return null;
  const asked = new URLSearchParams(place);
  const configuration = asked.get('configuration');
  try {
    const parts = path ? path.split('/').map(decodeURIComponent) : [];
    if (configuration !== null) parts.unshift(configuration);
    return { node: parts.join('::'), computer: asked.get('computer') ?? '', configServer: configuration !== null };
  } catch {
    return null;
  }
}
