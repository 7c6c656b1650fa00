// linkwell-host.d.mts: the same for import.
export * from './linkwell-host.js';
