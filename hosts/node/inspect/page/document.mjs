// document.mjs: shows a document of the project as it is written, with its headings as places to go to.

import { slug } from './documents.mjs';
import { element } from './text.mjs';

const place = document.querySelector('#document');
const name = new URLSearchParams(location.search).get('name') ?? '';
const answer = await fetch(`documents/${encodeURIComponent(name)}`);
if (answer.ok) {
  const text = await answer.text();
  document.title = `docs/${name}`;
  let fenced = false;
  let part = null;
  for (const line of text.split('\n')) {
    fenced = line.startsWith('```') ? !fenced : fenced;
    const [, marks, heading] = (!fenced && /^(#{1,6}) (.*)$/.exec(line)) || [];
    if (heading !== undefined) {
      place.append(element(`h${marks.length}`, { id: slug(heading), tabindex: '-1' }, heading));
      part = null;
    } else {
      if (part === null) {
        part = element('pre');
        place.append(part);
      }
      part.append(`${line}\n`);
    }
  }
  const wanted = document.getElementById(decodeURIComponent(location.hash.slice(1)));
  wanted?.focus();
  wanted?.scrollIntoView();
} else {
  place.append(element('p', {}, `The document docs/${name} of the project is not on this machine.`));
}
