// documents.mjs: links into the project's documents.

import { element } from './text.mjs';

/** The anchor of a heading, as usual for documents of this form. */
export function slug(heading) {
  return heading.toLowerCase().replace(/[^\p{L}\p{N} _-]/gu, '').replaceAll(' ', '-');
}

/** A link to a section, which opens beside this page. */
export function documentLink(name, heading) {
  return element('a', { href: `document.html?name=${name}#${slug(heading)}`, target: '_blank' },
    `${heading} (docs/${name})`);
}
