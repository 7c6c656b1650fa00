// uses.mts: uses of the package that TypeScript must accept, and such that it must not. Checked, not run.
import {
  Agent, type Change, type Contact, ContactStore, type ErrorCode, HandlerError, LinkwellError, LinkwellHost, type Message,
  OversizedMessageError, closeAgent, launchAgent, parseMessage,
} from 'linkwell-host';

const control = new AbortController();
const host = new LinkwellHost({ maxMessageBytes: 64 * 1024 * 1024, idleTimeout: Infinity });
const store = new ContactStore();
host.on('message', (message) => store.apply(message));
host.on('message', async ({ operation, items }) => {
  for (const { contact, folderEntryId, guessed, text } of items) {
    const name: string | undefined = contact?.displayName;
    const folder: string | undefined = folderEntryId;
    console.log(operation, name, folder, guessed === true, text);
  }
});
host.once('error', (error) => {
  const code: ErrorCode = error.code;
  if (error instanceof OversizedMessageError) {
    const bytes: number = error.bytes;
    console.log(code, bytes);
  }
  if (error instanceof HandlerError) {
    const refused: Message = error.refused;
    console.log(refused.total, error.cause);
  }
});
await host.listen({ signal: control.signal });

store.on('change', ({ added, changed, removed }: Change) => {
  const contacts: Contact[] = [...added, ...changed.map(({ after }) => after), ...removed];
  console.log(contacts.length, store.size, store.get('00')?.company, store.contacts.get('00'), store.folders);
});

const agent: Agent = await launchAgent({ path: 'LinkwellAgent.exe', args: ['/log=agent.log'], signal: control.signal });
agent.on('exit', ({ code, requested }) => console.log(code, requested));
const closed: boolean = await closeAgent({ closeTool: 'linkwell-closeagent.exe' });
console.log(closed, (await agent.close({ timeout: 1000 })).code, parseMessage('').version === 2);
await host.close({ timeout: Infinity });

// @ts-expect-error  there is no such option
new LinkwellHost({ maxBytes: 1 });
// @ts-expect-error  there is no such event
host.on('mesage', () => {});
// @ts-expect-error  a listener of another event
host.on('message', (error: LinkwellError) => error.code);
// @ts-expect-error  only launchAgent makes one
new Agent();
// @ts-expect-error  not to be written to
store.contacts.set('00', store.get('00')!);
// @ts-expect-error  the path is missing
await launchAgent({});
// @ts-expect-error  a contact may not be there
store.get('00').displayName;
// @ts-expect-error  there is no such code
const unknown: ErrorCode = 'ERR_LINKWELL_ELSE';
