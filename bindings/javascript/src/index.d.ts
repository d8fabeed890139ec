declare global {
  interface SymbolConstructor {
    readonly dispose: unique symbol;
  }
}

/** ImageData where there are pages, nothing elsewhere. */
export type PageImageData = typeof globalThis extends {ImageData: {prototype: infer Picture}} ? Picture : never;

/** Any memory of bytes: a typed array, a DataView, a Buffer, or a buffer itself. */
export type Bytes = ArrayBufferView | ArrayBufferLike;

/** Pixels and lines. */
export interface Size {
  width: number;
  height: number;
}

/** A size, of which one may be missing: it follows from the other and the proportions of the source. */
export type TargetSize = Size | {width: number; height?: undefined} | {height: number; width?: undefined};

/** Pixels and lines from the upper left corner. */
export interface Rect extends Size {
  x: number;
  y: number;
}

/**
 * How the bytes of a pixel lie. Channels of rgbx and bgrx are three, their fourth byte comes out as 0. uyvy, vyuy, yuyv
 * and yvyu are packed 4:2:2, of even widths; uv is two channels, such as the chroma of NV12.
 */
export type Layout =
  | 'gray' | 'gray-alpha' | 'rgb' | 'bgr' | 'rgbx' | 'bgrx' | 'rgba' | 'bgra' | 'argb' | 'abgr'
  | 'uyvy' | 'vyuy' | 'yuyv' | 'yvyu' | 'uv';

/** A picture in memory. Its lines lie `stride` bytes apart: without gaps if that is left away. */
export interface Image extends Size {
  data: Bytes;
  stride?: number;
  /** 'rgba' if left away. */
  layout?: Layout;
}

/** Where a picture is written to, instead of new memory. It must not be the source's memory. */
export interface Target {
  data: Bytes;
  stride?: number;
}

export interface Scaled extends Size {
  data: Uint8ClampedArray;
  layout: Layout;
}

export interface Rules {
  /**
   * What becomes of alpha, where a layout has it.
   *   multiply    colours are multiplied by it before they are filtered, and divided after: as canvas pixels want it
   *   straight    it is filtered like a colour: right where colours are multiplied already
   *   drop        it is left away: rgba becomes rgb, gray-alpha becomes gray
   *   background  the picture is laid onto a colour, and alpha is left away
   */
  alpha?: 'multiply' | 'straight' | 'drop' | 'background';
  /** For `alpha: 'background'`: 1 byte for gray or 3, in the order of the colours. */
  background?: readonly number[];
  /** Reductions to less than half are filtered as widely as they need, or by four taps whatever the sizes. */
  reduction?: 'wide' | 'four-taps';
}

export interface ResizeOptions extends Rules {
  /** The part of the output that is made: all of it if left away. */
  rect?: Rect;
}

/**
 * Scales pictures of one layout from one size to another. Closed, its memory is free again. What it is not given as it
 * should be is refused with a TypeError or a RangeError that names it, and nothing is written.
 */
export interface Scaler {
  /** "simd128", or "c" without vectors. */
  readonly set: string;
  /** What it takes of the module's memory. */
  readonly bytes: number;
  /** Lines of the output that the picture under way has given. */
  readonly linesWritten: number;
  readonly closed: boolean;
  /** The part of the source that a part of the output is made of. */
  needed(rect?: Rect): Rect;
  resize(image: {data: Bytes; stride?: number}, options?: {rect?: Rect}): Scaled;
  resize<Out extends Target>(
    image: {data: Bytes; stride?: number},
    options: {rect?: Rect; out: Out},
  ): Size & {data: Out['data']; layout: Layout};
  /**
   * Takes the next lines of a picture, without gaps, and returns the lines of the output that they allow. After the last
   * line of a picture the next one begins.
   */
  push(lines: Bytes): Uint8ClampedArray;
  /** Yields what each of the slices of a picture allows; they may come asynchronously, from a stream for instance. */
  slices(source: Iterable<Bytes> | AsyncIterable<Bytes>): AsyncGenerator<Uint8ClampedArray, void, void>;
  /** Gives up the picture that is being pushed. */
  reset(): void;
  close(): void;
  [Symbol.dispose](): void;
}

/** A frame of WebCodecs' formats without WebCodecs, as in node. */
export interface PlainFrame extends Size {
  format: FrameFormat;
  data: Bytes;
  /** Where each plane begins, and how far its lines lie apart; without gaps if left away. */
  layout?: ReadonlyArray<{offset: number; stride: number}>;
}

export type FrameFormat = 'I420' | 'I422' | 'I444' | 'NV12' | 'RGBA' | 'RGBX' | 'BGRA' | 'BGRX';

/** The library, with a memory of its own. It serves one call at a time; each worker loads its own. */
export interface FourTapScale {
  readonly version: string;
  /** The module's memory as it is now. It grows with what is open, and goes when nothing is. */
  readonly memoryBytes: number;

  /** Scales a picture. The scalers of the last four sizes are kept: see `trim`. */
  resize(
    image: PageImageData,
    size: TargetSize,
    options?: ResizeOptions & {alpha?: 'multiply' | 'straight'; out?: undefined},
  ): PageImageData;
  resize<Out extends Target>(image: PageImageData | Image, size: TargetSize, options: ResizeOptions & {out: Out}): Out;
  resize(image: PageImageData | Image, size: TargetSize, options?: ResizeOptions): Scaled;

  /** Scales a frame in its own format, its visible part. The caller closes both frames. */
  resizeFrame<Frame extends PlainFrame | {close(): void; readonly format: string | null}>(
    frame: Frame,
    size: TargetSize,
    rules?: Pick<Rules, 'reduction'> & {alpha?: 'multiply' | 'straight'},
  ): Promise<Frame extends PlainFrame ? Required<PlainFrame> & {data: Uint8ClampedArray} : Frame>;

  readonly Scaler: new (sourceSize: Size, size: TargetSize, options?: Rules & {layout?: Layout}) => Scaler;

  /** Frees what `resize` and `resizeFrame` keep for the next call. */
  trim(): void;
  /** Ends its use; scalers that are open stay so until they are closed. */
  close(): void;
  [Symbol.dispose](): void;
}

/**
 * Loads the module: with vectors where there are such, else without, to the same bytes.
 * @param options.vectors true or false to have it so; WebAssembly refuses vectors where there are none
 */
export function load(options?: {vectors?: boolean | 'auto'}): Promise<FourTapScale>;

/** Whether WebAssembly has vectors here. */
export function hasVectors(): boolean;
