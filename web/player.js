// Plays a stream, live or from a time, and knows which time of day the picture on screen has.

import * as api from './api.js';
import * as timeMap from './timeMap.js';

/** A playlist of a past time covers this much, so that it stays short; the next one follows when it has ended. */
const kWindowMs = 3600000;
const kRetryMs = 3000;

/** hls.js, or nothing where this installation lacks it. */
const library = import('./hls.mjs').then((module) => module.default, () => null);

export class Player {
  #video;
  #events;
  #hls = null;
  #timer;
  /** The newest playlist, as hls.js has it: it moves the media times of fragments when it has seen them. */
  #details = null;
  /** What plays: {name, start}, of which `start` is null for live. */
  #source = null;
  #recovered = 0;

  /**
   * `events`: position() when the position has changed; message(text) with what there is to say, or "" when all is well;
   * ended(wall) at the end of a playlist, with the time of day after it.
   */
  constructor(video, events) {
    this.#video = video;
    this.#events = events;
    for (const type of ['timeupdate', 'seeked']) video.addEventListener(type, () => events.position());
    video.addEventListener('playing', () => events.message(''));
    video.addEventListener('ended', () => this.#ended());
  }

  /** The time of day of the picture, in milliseconds; NaN while there is none. */
  get wall() {
    return this.#video.readyState > 0 ? timeMap.toWall(this.#pieces, this.#video.currentTime) : NaN;
  }

  get #pieces() {
    return timeMap.pieces(this.#details?.fragments ?? []);
  }

  get isLive() {
    return this.#source?.start === null;
  }

  /** The address of what plays, for other players. */
  get address() {
    return this.#source && (this.isLive ? api.playlistAddress(this.#source.name)
      : api.playlistAddress(this.#source.name, this.#source.start, this.#source.start + kWindowMs));
  }

  live(name) {
    return this.#open({name, start: null});
  }

  /** Plays from a time of day. Seeks where the playlist that is loaded has it. */
  from(name, wall) {
    const media = this.#source?.name === name && !this.isLive ? timeMap.toMedia(this.#pieces, wall) : null;
    if (media === null || !this.#hls) return this.open(name, wall);
    this.#video.currentTime = media;
    return this.#play();
  }

  /** Plays from a time of day by a new playlist. */
  open(name, wall) {
    return this.#open({name, start: wall});
  }

  stop() {
    clearTimeout(this.#timer);
    this.#source = null;
    this.#close();
  }

  #close() {
    this.#hls?.destroy();
    this.#hls = null;
    this.#details = null;
    this.#video.removeAttribute('src');
    this.#video.load();
  }

  async #open(source) {
    clearTimeout(this.#timer);
    this.#source = source;
    this.#close();
    const Hls = await library;
    if (this.#source !== source) return;  // Another was asked for meanwhile.
    if (!Hls) return this.#events.message('This installation lacks hls.js, which playback needs. Other players can open the playlist.');
    if (!Hls.isSupported()) return this.#events.message('This browser cannot play recordings. Other players can open the playlist.');
    this.#events.message('Loading…');
    // A playlist that grows would begin at its newest end by itself. No worker: the media are fragmented MP4 already.
    const hls = new Hls({enableWorker: false, startPosition: this.isLive ? -1 : 0, backBufferLength: 60});
    this.#hls = hls;
    hls.on(Hls.Events.LEVEL_UPDATED, (event, {details}) => this.#loaded(details));
    hls.on(Hls.Events.ERROR, (event, data) => data.fatal && this.#failed(source, data, Hls.ErrorTypes));
    hls.loadSource(this.address);
    hls.attachMedia(this.#video);
    await this.#play();
  }

  #loaded(details) {
    const isFirst = !this.#details;
    this.#details = details;
    if (!isFirst || this.isLive) return;
    // The first fragment begins before the time that was asked for.
    const source = this.#source;
    const media = timeMap.toMedia(this.#pieces, source.start) ?? 0;
    const seek = () => {
      if (this.#source === source) this.#video.currentTime = media;
    };
    if (this.#video.readyState > 0) seek();
    else this.#video.addEventListener('loadedmetadata', seek, {once: true});
  }

  async #play() {
    const refused = (error) => error.name === 'NotAllowedError';
    try {
      await this.#video.play().catch((error) => {
        if (!refused(error) || this.#video.muted) throw error;
        this.#video.muted = true;  // Without a click before, browsers play only what is silent.
        return this.#video.play();
      });
    } catch (error) {
      if (refused(error)) this.#events.message('Press play to begin.');
      // Others end a play() that a newer one replaced.
    }
  }

  async #failed(source, data, types) {
    if (this.#source !== source) return;
    const recently = performance.now() - this.#recovered < 5000;
    if (data.type === types.MEDIA_ERROR && !recently) {
      this.#recovered = performance.now();
      return this.#hls.recoverMediaError();
    }
    const isLive = this.isLive;
    const address = this.address;
    const why = data.type === types.NETWORK_ERROR && await api.problemOf(address);
    if (this.#source !== source) return;
    const text = why || (data.type === types.NETWORK_ERROR ? 'There is nothing to play yet.'
      : `The browser cannot play this (${data.details}).`);
    this.#events.message(isLive ? `${text} Trying again…` : text);
    if (isLive) this.#timer = setTimeout(() => this.#source === source && this.#open({...source}), kRetryMs);
  }

  #ended() {
    const last = this.#pieces.at(-1);
    if (last && !this.isLive) this.#events.ended(last.wall + last.length * 1000);
  }
}
