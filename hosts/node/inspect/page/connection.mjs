// connection.mjs: what comes from the host, kept up by EventSource, which connects again by itself and says where it was.

/** Several reasons to read everything anew within this time are one. */
const RELOAD_MILLISECONDS = 50;

export class Connection {
  /**
   * @param {object} listener  `onState(state)`: all that the host knows; `onEvent(event)`: what has happened since;
   *   `onLink(link)`: 'live', 'lost' (it is tried again), 'ended' (the host has said so; it is tried again), or 'refused'.
   */
  constructor(listener) {
    this._listener = listener;
    this._waiting = []; // events that came while the state is read
    this._loading = false;
    this._stale = false; // the state has to be read before any event makes sense
    this._again = false;
    this._ended = false;
    this._source = new EventSource('api/events');
    this._source.addEventListener('open', () => {
      this._ended = false;
      listener.onLink('live');
      if (this._stale && !this._loading) {
        this._load();
      }
    });
    this._source.addEventListener('error', () => {
      const refused = this._source.readyState === EventSource.CLOSED;
      listener.onLink(refused ? 'refused' : this._ended ? 'ended' : 'lost');
    });
    this._source.addEventListener('message', ({ data, lastEventId }) => {
      this._take(JSON.parse(data), lastEventId);
    });
  }

  _take(event, id) {
    if (event.type === 'end') {
      this._ended = true;
      this._listener.onLink('ended');
    } else if (event.type === 'reset') {
      this._waiting = []; // perhaps of another run
      this._load();
    } else {
      if (event.reload) {
        this._load();
      }
      if (this._stale) {
        this._waiting.push({ event, id });
      } else {
        this._listener.onEvent(event);
      }
    }
  }

  async _load() {
    if (this._loading) {
      this._again = true;
      return;
    }
    this._loading = true;
    this._stale = true;
    let state = null;
    while (state === null || this._again) {
      await new Promise((resolve) => { setTimeout(resolve, RELOAD_MILLISECONDS); });
      this._again = false;
      try {
        state = await (await fetch('api/state')).json();
      } catch {
        // The host is gone in the midst of it; this goes on when it is back.
        this._loading = false;
        return;
      }
    }
    this._loading = false;
    this._stale = false;
    this._listener.onState(state);
    for (const { event, id } of this._waiting.splice(0)) {
      const [run, sequence] = id.split('-');
      if (run === state.run && Number(sequence) > state.sequence) {
        this._take(event, id);
      }
    }
  }
}
