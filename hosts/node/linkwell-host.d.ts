// linkwell-host.d.ts: what the package gives, and what it promises of that.
import { EventEmitter } from 'events';

/** The one name by which the agent looks for its host. */
export const PIPE_PATH: string;

/** The limit of a message unless told otherwise: 256 MB. */
export const DEFAULT_MAX_MESSAGE_BYTES: number;

/** The names of a contact's fields, in the order of the wire. */
export const CONTACT_FIELDS: readonly (keyof Contact)[];

/** A contact. What is absent is `""`. Of a deleted one, `entryId` alone is there. */
export interface Contact {
  displayName: string;
  givenName: string;
  middleName: string;
  surname: string;
  company: string;
  email: string;
  businessPhone: string;
  homePhone: string;
  mobilePhone: string;
  businessFax: string;
  /** The contact's identity: opaque, upper-case hexadecimal. `""` where the store does not give it. */
  entryId: string;
  /** The identity of its folder. */
  folderEntryId: string;
}

/** An item that is a contact. */
export interface ContactItem {
  /** As it came: one line, or several. */
  text: string;
  contact: Contact;
  /** A `;` stands in one of the fields. The identifiers are certain; where the other fields begin is guessed. */
  guessed?: true;
  folderEntryId?: undefined;
}

/** An item that is a deleted folder, with all contacts whose `folderEntryId` it is. */
export interface FolderItem {
  text: string;
  folderEntryId: string;
  contact?: undefined;
  guessed?: undefined;
}

/** An item of which nothing can be made; an empty text is nothing, and to be passed over. */
export interface UnreadableItem {
  text: string;
  contact?: undefined;
  guessed?: undefined;
  folderEntryId?: undefined;
}

export type Item = ContactItem | FolderItem | UnreadableItem;

export interface Message {
  version: 2;
  operation: 'snapshot' | 'add' | 'change' | 'delete';
  kind: 'contact' | 'folder';
  /** The place of the store among all in a snapshot; otherwise 0. */
  index: number;
  /** The number of stores of a snapshot, those without contacts, which send nothing, included; otherwise 1. */
  total: number;
  /** The length of its text on the wire. */
  bytes: number;
  items: Item[];
}

export interface HostOptions {
  /** Another pipe, or on other systems a socket; for tests. */
  pipe?: string;
  /** Longer messages are not taken: OversizedMessageError. At most the length of the longest string. */
  maxMessageBytes?: number;
  /**
   * A client of which nothing comes for so long is cut: TimeoutError. Milliseconds, 30000 by default, or Infinity. It
   * counts while the host has nothing to do for that client, so not while its message is handled.
   */
  idleTimeout?: number;
}

/**
 * Serves the pipe. Each message that arrives whole goes to the listeners of 'message', one message at a time and one
 * listener after the other; when all have run, and the promises that they have returned are fulfilled, it is answered.
 * A listener that throws or rejects refuses its message: HandlerError. Whatever goes wrong is an event 'error', and the
 * host goes on; where nobody listens to these, it is a warning of the process.
 */
export class LinkwellHost extends EventEmitter {
  /** @throws {OptionError} */
  constructor(options?: HostOptions);
  readonly pipe: string;
  /**
   * Resolves when agents can connect; rejects with PipeError when the pipe can't be had, with StateError when it listens
   * already. A signal that is aborted closes the host; it rejects with the signal's reason if that comes first.
   */
  listen(options?: { signal?: AbortSignal }): Promise<void>;
  /**
   * Takes no new connections, and resolves when the last one has ended, so an answer on its way still gets there. What
   * has not ended by the timeout (milliseconds, 5000 by default, or Infinity) is cut: ClosedError, where a message is
   * lost by that. A handler that awaits it waits for itself until then.
   */
  close(options?: { timeout?: number }): Promise<void>;

  on(event: 'message', handler: (message: Message) => void | Promise<unknown>): this;
  on(event: 'error', listener: (error: LinkwellError) => void): this;
  on(event: 'listening' | 'close', listener: () => void): this;
  once(event: 'message', handler: (message: Message) => void | Promise<unknown>): this;
  once(event: 'error', listener: (error: LinkwellError) => void): this;
  once(event: 'listening' | 'close', listener: () => void): this;
}

/**
 * A whole message, taken apart, at once: for recorded ones.
 * @throws {MalformedMessageError}
 */
export function parseMessage(text: string): Message;

/** What a message has changed in a store. */
export interface Change {
  /** That of the message; 'clear' when everything was forgotten. */
  operation: Message['operation'] | 'clear';
  kind: Message['kind'];
  added: Contact[];
  changed: { before: Contact; after: Contact }[];
  /** As they were last known, those of deleted folders included. */
  removed: Contact[];
  /** The identifiers of what was deleted and not known. */
  unknown: string[];
  /** The texts of items that can't be kept, as they have no identifier. */
  unreadable: string[];
}

/**
 * The contacts that a host knows. A snapshot has no mark for its beginning: a message of one counts as the first of a new
 * run of the agent, before which all is forgotten, when it can't go on with the snapshot before it, as its index is not
 * above the last one, its number of stores is another, or a change came in between. Who starts the agent knows better,
 * and calls `clear`.
 */
export class ContactStore extends EventEmitter {
  constructor();
  /** By entry identifier; live. */
  readonly contacts: ReadonlyMap<string, Contact>;
  readonly size: number;
  /** The identifiers of all folders that have contacts. */
  readonly folders: string[];
  get(entryId: string): Contact | undefined;
  contactsIn(folderEntryId: string): Contact[];
  /** Applies a message, a large one in slices; several calls are done one after the other. */
  apply(message: Message): Promise<Change>;
  /** Forgets everything. */
  clear(): Promise<Change>;

  /** A message, or `clear`, has changed something; all of it is applied. */
  on(event: 'change', listener: (change: Change) => void): this;
  once(event: 'change', listener: (change: Change) => void): this;
}

export interface LaunchOptions {
  /** The agent's program file. */
  path: string;
  /** Its arguments, such as `/log=C:\\path\\agent.log`. */
  args?: readonly string[];
  env?: NodeJS.ProcessEnv;
  /** The closing tool; by default `linkwell-closeagent.exe` beside the agent. */
  closeTool?: string;
  /** When it is aborted, the agent is closed in order. */
  signal?: AbortSignal;
}

export interface AgentExit {
  /** The exit value, which is always 0 unless the process was killed or crashed. */
  code: number | null;
  signal: NodeJS.Signals | null;
  /** Whether `close` was called before. */
  requested: boolean;
}

/**
 * Starts an agent, which runs on when this process ends. The host listens first: an agent that finds none at its first
 * message ends. Rejects with AgentError when it can't be started.
 */
export function launchAgent(options: LaunchOptions): Promise<Agent>;

/** A running agent, made by `launchAgent`. */
export class Agent extends EventEmitter {
  private constructor();
  readonly pid: number;
  readonly running: boolean;
  /** Resolves when its process has ended, for whatever reason. */
  readonly exited: Promise<AgentExit>;
  /**
   * Has it closed in order by the closing tool, and resolves when it has ended. It is never killed: where it has not
   * ended by the timeout (milliseconds, 65000 by default), this rejects with AgentError, and it runs on. The tool closes
   * all agents of the user's session.
   */
  close(options?: { timeout?: number }): Promise<AgentExit>;

  on(event: 'exit', listener: (exit: AgentExit) => void): this;
  once(event: 'exit', listener: (exit: AgentExit) => void): this;
}

/**
 * Has all agents of the user's session closed by the closing tool, such as one that an earlier host has left. Resolves to
 * whether one ran, when they have ended; rejects with AgentError when one does not end, or the tool can't be run.
 */
export function closeAgent(options: { closeTool: string; timeout?: number }): Promise<boolean>;

/** The base of all errors. Codes stay what they are; texts may change. */
export class LinkwellError extends Error {
  protected constructor();
  readonly code: ErrorCode;
  readonly cause?: unknown;
}

export type ErrorCode =
  | 'ERR_LINKWELL_AGENT_CLOSE'
  | 'ERR_LINKWELL_AGENT_START'
  | 'ERR_LINKWELL_CLOSED'
  | 'ERR_LINKWELL_CONNECTION'
  | 'ERR_LINKWELL_HANDLER'
  | 'ERR_LINKWELL_HEADER'
  | 'ERR_LINKWELL_INCOMPLETE'
  | 'ERR_LINKWELL_KIND'
  | 'ERR_LINKWELL_OPERATION'
  | 'ERR_LINKWELL_OPTION'
  | 'ERR_LINKWELL_OVERSIZED'
  | 'ERR_LINKWELL_PIPE'
  | 'ERR_LINKWELL_STATE'
  | 'ERR_LINKWELL_TIMEOUT'
  | 'ERR_LINKWELL_VERSION';

/** An option that does not exist, or a value that it can't have. */
export class OptionError extends LinkwellError {}

/** A call at the wrong time. */
export class StateError extends LinkwellError {}

/** The pipe can't be served, or no more; `cause` is the system's error. */
export class PipeError extends LinkwellError {
  readonly pipe: string;
}

/** A connection broke between two messages, or before its answer was out; `cause` is the system's error. */
export class ConnectionError extends LinkwellError {}

/** The agent went in the middle of a message, of which nothing is handed on. */
export class IncompleteMessageError extends LinkwellError {
  /** The bytes that came, those of the length included. */
  readonly received: number;
  /** The length; null when not even that was whole. */
  readonly expected: number | null;
}

/** A client was silent for `idleTimeout`, and is cut. Nothing of a message that it had begun is handed on. */
export class TimeoutError extends LinkwellError {
  /** The bytes of its message that came; 0 between two messages. */
  readonly received: number;
}

/** A length above the limit. Nothing says where the next message would begin, so the connection was cut. */
export class OversizedMessageError extends LinkwellError {
  readonly bytes: number;
  readonly limit: number;
}

/** A header that can't be read, or a version, operation or kind that is not known. The message was answered all the same:
 *  its framing was right, and an agent that is refused during its first snapshot ends. */
export class MalformedMessageError extends LinkwellError {
  /** The whole message. */
  readonly text: string;
}

/** A listener of 'message' has thrown or rejected; `cause` is what. */
export class HandlerError extends LinkwellError {
  readonly refused: Message;
}

/** `close` cut a connection, as its message was not answered in time. */
export class ClosedError extends LinkwellError {}

/** An agent could not be started, or closed. */
export class AgentError extends LinkwellError {}
