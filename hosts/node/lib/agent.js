// agent.js: an agent as a process of the host's: started, watched, and closed in order.
'use strict';

const { spawn } = require('child_process');
const { EventEmitter, once } = require('events');
const path = require('path');
const { AgentError, OptionError, checkOptions, checkTimeout } = require('./errors');
const { settlesWithin } = require('./timing');

/** The closing tool, beside the agent unless told otherwise. */
const CLOSE_TOOL = 'linkwell-closeagent.exe';

/** The tool itself waits for a minute. */
const DEFAULT_CLOSE_TIMEOUT = 65000;

const RETRY_MILLISECONDS = 200;

/** For what an ended tool has said to come in. */
const OUTPUT_MILLISECONDS = 200;

/** A running agent. Event 'exit' ({@link AgentExit}): its process has ended, for whatever reason. */
class Agent extends EventEmitter {
  constructor(child, closeTool) {
    super();
    this._closeTool = closeTool;
    this._exit = null;
    this._closeRequested = false;
    this.pid = child.pid;
    this.exited = new Promise((resolve) => {
      child.once('exit', (code, signal) => {
        this._exit = { code, signal, requested: this._closeRequested };
        resolve(this._exit);
        this.emit('exit', this._exit);
      });
    });
  }

  get running() {
    return this._exit === null;
  }

  /**
   * Has the agent closed by the closing tool, and resolves to how it has ended. It is never killed: where it has not
   * ended by the timeout, the promise rejects with AgentError, and the agent runs on.
   */
  async close(options = {}) {
    checkOptions(options, ['timeout'], 'close');
    const { timeout = DEFAULT_CLOSE_TIMEOUT } = options;
    checkTimeout(timeout, 'close');
    this._closeRequested = true;
    const end = performance.now() + timeout;
    const left = () => Math.max(0, end - performance.now());
    // The tool closes the agents whose windows it finds: none while this one is starting, and others, which may not end.
    while (this.running && left() > 0) {
      const failure = await closeAgent({ closeTool: this._closeTool, timeout: left() }).then(() => null, (error) => error);
      await settlesWithin(this.exited, Math.min(RETRY_MILLISECONDS, left()));
      if (failure !== null && this.running) {
        throw failure;
      }
    }
    if (this.running) {
      throw new AgentError('CLOSE', `the agent has not ended within ${timeout} ms`);
    }
    return this._exit;
  }
}

/**
 * Starts an agent. A host listens first: an agent that finds no host at its first message ends.
 * @returns {Promise<Agent>}  once the process is there.
 * @throws {AgentError}  when it can't be started.
 */
async function launchAgent(options) {
  checkOptions(options, ['path', 'args', 'env', 'closeTool', 'signal'], 'launchAgent');
  const { path: program, args = [], env = process.env, signal } = options;
  if (typeof program !== 'string' || program === '') {
    throw new OptionError('launchAgent needs the path of the agent');
  }
  const { closeTool = path.join(path.dirname(program), CLOSE_TOOL) } = options;
  signal?.throwIfAborted();

  let agent;
  try {
    // Detached, as Windows would otherwise end the agent abruptly together with this process.
    const child = spawn(program, args, { env, stdio: 'ignore', detached: true, windowsHide: true });
    agent = new Agent(child, closeTool);
    await once(child, 'spawn');
    child.on('error', () => {}); // nothing is asked of the child that could fail
  } catch (error) {
    throw new AgentError('START', `the agent can't be started: ${error.message}`, error);
  }
  if (signal !== undefined) {
    const abort = () => agent.close().catch((error) => process.emitWarning(error));
    signal.addEventListener('abort', abort, { once: true });
    agent.exited.then(() => signal.removeEventListener('abort', abort));
    if (signal.aborted) {
      abort();
    }
  }
  return agent;
}

/**
 * Runs the closing tool: it asks all agents of the user's session to close and waits for their end.
 * @returns {Promise<boolean>}  whether they have ended; false when none ran.
 * @throws {AgentError}  when the tool can't be run, or an agent does not end.
 */
async function closeAgent(options) {
  checkOptions(options, ['closeTool', 'timeout'], 'closeAgent');
  const { closeTool, timeout = DEFAULT_CLOSE_TIMEOUT } = options;
  if (typeof closeTool !== 'string' || closeTool === '') {
    throw new OptionError('closeAgent needs the path of the closing tool');
  }
  checkTimeout(timeout, 'closeAgent');

  const child = spawn(closeTool, [], { stdio: ['ignore', 'ignore', 'pipe'], windowsHide: true });
  let said = '';
  child.stderr.on('data', (chunk) => { said += chunk; });
  const ended = once(child, 'exit');
  const outputEnded = once(child.stderr, 'close');
  if (!await settlesWithin(ended, timeout)) {
    child.kill(); // the tool, which only waits by now
    throw new AgentError('CLOSE', `the agent has not ended within ${Math.round(timeout)} ms`);
  }
  let status;
  try {
    [status] = await ended;
  } catch (error) {
    throw new AgentError('CLOSE', `the closing tool can't be run: ${error.message}`, error);
  }
  // What the system starts for the tool may inherit its output and keep it open: Wine's desktop does.
  await settlesWithin(outputEnded, OUTPUT_MILLISECONDS);
  child.stderr.destroy();
  if (status !== 0 && status !== 1) {
    throw new AgentError('CLOSE', `the agent can't be closed: ${said.trim() || `the tool's exit value is ${status}`}`);
  }
  return status === 0;
}

module.exports = { Agent, closeAgent, launchAgent };
