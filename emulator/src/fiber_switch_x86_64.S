/*
 * fiber_switch_x86_64.S - context switch between fibers of the kernel execution engine.
 *
 * void zuli_emu_fiber_switch(void** saveSp, void* loadSp)
 *   Saves the callee-saved state of the System V ABI (rbx, rbp, r12-r15, the MXCSR and the x87
 *   control word) on the current stack, stores the stack pointer in *saveSp, switches to loadSp
 *   and restores the state saved there. Returns in the other context. No system call.
 *
 * void zuli_emu_fiber_handoff(void** saveSp, void* loadSp)
 *   The same between two fibers of one block, which share the floating-point environment of
 *   the kernel: the control words of the fiber being left are not saved (the target keeps the
 *   current ones unless its own frame holds saved ones), which saves most of a switch's cost.
 *
 * zuli_emu_fiber_entry
 *   First "return address" of a new fiber (see fiber.cpp): calls r13(r12) on a 16-byte aligned
 *   stack. That function never returns.
 */
#if defined(__x86_64__) && !defined(ZULI_EMU_FIBER_UCONTEXT)

    .text

/* The restore half shared by both switches: the frame on the new stack holds either the saved
 * control words or -1 (none saved: keep the current ones). With \compare, eax and ecx hold the
 * current MXCSR and x87 control word, and equal ones are not reloaded (reloading is slow). */
.macro RESTORE_AND_JUMP compare
    cmpq    $-1, (%rsp)
    je      1f
.if \compare
    cmpl    (%rsp), %eax
    jne     2f
    cmpw    4(%rsp), %cx
    je      1f
.endif
2:
    ldmxcsr (%rsp)
    fldcw   4(%rsp)
1:
    addq    $8, %rsp
    popq    %r15
    popq    %r14
    popq    %r13
    popq    %r12
    popq    %rbx
    popq    %rbp
    /* Jump rather than ret: a ret into another stack always misses the return-stack predictor.
     * (The objects carry no IBT marking, so the target needs no endbr64.) */
    popq    %r8
    jmpq    *%r8
.endm

    .globl  zuli_emu_fiber_switch
    .hidden zuli_emu_fiber_switch
    .type   zuli_emu_fiber_switch, @function
    .p2align 4
zuli_emu_fiber_switch:
    .cfi_startproc
#if defined(__CET__)
    endbr64
#endif
    pushq   %rbp
    pushq   %rbx
    pushq   %r12
    pushq   %r13
    pushq   %r14
    pushq   %r15
    /* Floating-point control state: MXCSR at 0(%rsp), the x87 control word at 4(%rsp). */
    subq    $8, %rsp
    stmxcsr (%rsp)
    fnstcw  4(%rsp)
    movl    (%rsp), %eax        /* reloads of the same widths as the stores: forwarded */
    movzwl  4(%rsp), %ecx
    movq    %rsp, (%rdi)
    movq    %rsi, %rsp
    RESTORE_AND_JUMP 1
    .cfi_endproc
    .size   zuli_emu_fiber_switch, .-zuli_emu_fiber_switch

    .globl  zuli_emu_fiber_handoff
    .hidden zuli_emu_fiber_handoff
    .type   zuli_emu_fiber_handoff, @function
    .p2align 4
zuli_emu_fiber_handoff:
    .cfi_startproc
#if defined(__CET__)
    endbr64
#endif
    pushq   %rbp
    pushq   %rbx
    pushq   %r12
    pushq   %r13
    pushq   %r14
    pushq   %r15
    pushq   $-1                 /* no control words saved */
    movq    %rsp, (%rdi)
    movq    %rsi, %rsp
    RESTORE_AND_JUMP 0
    .cfi_endproc
    .size   zuli_emu_fiber_handoff, .-zuli_emu_fiber_handoff

    .globl  zuli_emu_fiber_entry
    .hidden zuli_emu_fiber_entry
    .type   zuli_emu_fiber_entry, @function
    .p2align 4
zuli_emu_fiber_entry:
    .cfi_startproc
    /* The outermost frame of a fiber: unwinders stop here. */
    .cfi_undefined rip
    movq    %r12, %rdi
    callq   *%r13
    ud2
    .cfi_endproc
    .size   zuli_emu_fiber_entry, .-zuli_emu_fiber_entry

#endif

    .section .note.GNU-stack, "", @progbits
