/*
 * fiber_switch_x86_64.S - context switch between fibers of the kernel execution engine.
 *
 * void zuli_emu_fiber_switch(void** saveSp, void* loadSp)
 *   Saves the callee-saved state of the System V ABI (rbx, rbp, r12-r15, the MXCSR and the x87
 *   control word) on the current stack, stores the stack pointer in *saveSp, switches to loadSp
 *   and restores the state saved there. Returns in the other context. No system call.
 *
 * zuli_emu_fiber_entry
 *   First "return address" of a new fiber (see fiber.cpp): calls r13(r12) on a 16-byte aligned
 *   stack. That function never returns.
 */
#if defined(__x86_64__) && !defined(ZULI_EMU_FIBER_UCONTEXT)

    .text
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
    /* Loading the control words is the slow part of a switch: skip it when they are equal. */
    cmpl    (%rsp), %eax
    jne     2f
    cmpw    4(%rsp), %cx
    je      1f
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
    .cfi_endproc
    .size   zuli_emu_fiber_switch, .-zuli_emu_fiber_switch

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
