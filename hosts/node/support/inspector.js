// inspector.js: an inspector of a host that is given its messages by a test.
'use strict';

const { Inspector } = require('../inspect/inspector');
const { ContactStore, parseMessage } = require('../linkwell-host');

/**
 * An inspector that is served on a free port, or on that of the options; its address; and a way to give it messages, as
 * the text that they have on the wire.
 */
async function startInspector(t, { port = 0, ...options } = {}) {
  const store = new ContactStore();
  const inspector = new Inspector({ store, ...options });
  const address = new URL(await inspector.listen(port));
  t.after(() => inspector.close());
  const take = async (text) => {
    const message = parseMessage(text);
    await inspector.addMessage(message, await store.apply(message));
  };
  return { inspector, address, take };
}

module.exports = { startInspector };
