// uses.cts: the same package by require.
import linkwell = require('linkwell-host');

const host: linkwell.LinkwellHost = new linkwell.LinkwellHost();
host.on('message', ({ items }) => console.log(items.length));
const path: string = linkwell.PIPE_PATH;
console.log(path, linkwell.CONTACT_FIELDS.length);
