// win32.rs: what host.rs needs of Windows, declared by hand; crates such as windows-sys have all of it.
use std::io;

/// The error behind a call that has returned 0.
pub fn check(result: i32) -> io::Result<()> {
    match result {
        0 => Err(io::Error::last_os_error()),
        _ => Ok(()),
    }
}

#[repr(C)]
pub struct SecurityAttributes {
    pub size: u32,
    pub descriptor: usize,
    pub inherit: i32,
}
#[repr(C)]
#[derive(Default)]
pub struct Overlapped {
    pub status: usize,
    pub transferred: usize,
    pub offset: u64,
    pub event: usize,
}
pub const ERROR_IO_PENDING: i32 = 997;
pub const FILE_FLAG_FIRST_PIPE_INSTANCE: u32 = 0x0008_0000;
pub const FILE_FLAG_OVERLAPPED: u32 = 0x4000_0000;
pub const INFINITE: u32 = u32::MAX;
pub const INVALID_HANDLE_VALUE: isize = -1;
pub const PIPE_ACCESS_DUPLEX: u32 = 3;
pub const PIPE_REJECT_REMOTE_CLIENTS: u32 = 8; // with it, PIPE_TYPE_BYTE and PIPE_WAIT, which are 0
pub const PROCESS_TOKEN: isize = -4; // what GetCurrentProcessToken gives
pub const SDDL_REVISION_1: u32 = 1;
pub const TOKEN_USER: i32 = 1;

#[link(name = "advapi32")]
extern "system" {
    pub fn CancelIoEx(pipe: isize, call: *const Overlapped) -> i32;
    pub fn ConnectNamedPipe(pipe: isize, call: *mut Overlapped) -> i32;
    pub fn ConvertSidToStringSidA(sid: usize, text: *mut *const i8) -> i32;
    pub fn ConvertStringSecurityDescriptorToSecurityDescriptorA(
        text: *const u8, revision: u32, descriptor: *mut usize, size: *mut u32,
    ) -> i32;
    pub fn CreateNamedPipeA(
        name: *const u8, open_mode: u32, pipe_mode: u32, most_instances: u32, out_size: u32, in_size: u32, timeout: u32,
        access: *const SecurityAttributes,
    ) -> isize;
    pub fn DisconnectNamedPipe(pipe: isize) -> i32;
    pub fn GetOverlappedResultEx(pipe: isize, call: *const Overlapped, bytes: *mut u32, ms: u32, alertable: i32) -> i32;
    pub fn GetTokenInformation(token: isize, class: i32, into: *mut usize, size: u32, needed: *mut u32) -> i32;
    pub fn ReadFile(pipe: isize, into: *mut u8, size: u32, done: *mut u32, call: *mut Overlapped) -> i32;
    pub fn WriteFile(pipe: isize, from: *const u8, size: u32, done: *mut u32, call: *mut Overlapped) -> i32;
}
