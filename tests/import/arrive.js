// arrive.js BIN MAILBOX RESULT, on Node.js for Windows: runs a host and the agent of the folder BIN on a mailbox of one
// store, and writes the contacts of the host's first message as JSON. It ends with status 0 when the agent has closed in order.
'use strict';

const { once } = require('node:events'); // rejects where the host reports an error
const fs = require('node:fs');
const path = require('node:path');
const { LinkwellHost, launchAgent } = require('../../hosts/node/linkwell-host');

async function main([bin, mailbox, result]) {
  const host = new LinkwellHost();
  await host.listen();
  const message = once(host, 'message');
  const agent = await launchAgent({
    path: path.join(bin, 'LinkwellAgent.exe'),
    closeTool: path.join(bin, 'linkwell-closeagent.exe'),
    env: {
      ...process.env,
      LINKWELL_SANDBOX_DLL: path.join(bin, 'LinkwellSandbox.dll'),
      LINKWELL_SANDBOX_MAILBOX: mailbox,
    },
  });
  try {
    const ended = agent.exited.then(() => { throw new Error('the agent has ended without a message'); });
    const [{ items }] = await Promise.race([message, ended]);
    fs.writeFileSync(result, JSON.stringify(items));
  } finally {
    const { code } = await agent.close();
    await host.close();
    process.exitCode = code;
  }
}

main(process.argv.slice(2));
